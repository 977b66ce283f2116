# The commands of this project, described in README.md. Each first installs what it needs.
PREFIX ?= run/program
PACKAGE ?=
FUZZ_SECONDS ?= 20
VERSION ?=

.PHONY: run gui test bench lint asan tsan fuzz install package package-test setup configure build program clean

setup:
	@bash scripts/setup.sh

configure: setup
	@cmake --preset release >/dev/null

build: configure
	@cmake --build --preset release

# Everything that is installed, without the tests.
program: configure
	@cmake --build --preset release --target installation

install: program
	@cmake --install build/release --prefix $(PREFIX) >/dev/null

# Debian packages and a tarball, into build/package/packages. VERSION=1.2.3 stands in for the project's own version.
package: setup
	@bash scripts/setup.sh packages-packaging.txt
	@VERSION="$(VERSION)" bash scripts/package.sh

# The packages in a fresh Debian of their own; needs root.
package-test:
	@bash scripts/package-test.sh

run: install
	@bash scripts/run.sh "$(PACKAGE)"

gui: install
	@bash scripts/gui.sh

test: build
	@bash scripts/test.sh release

bench: build install
	@bash scripts/bench.sh

lint: configure
	@bash scripts/lint.sh

asan: setup
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@bash scripts/test.sh asan

# The tests of the library that has threads.
tsan: setup
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan
	@bash scripts/test.sh tsan

fuzz: setup
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@FUZZ_SECONDS=$(FUZZ_SECONDS) bash scripts/fuzz.sh

clean:
	rm -rf build run
