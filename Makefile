# The commands of this project, described in README.md. Each first installs what it needs.
PREFIX ?= run/program
PACKAGE ?=
FUZZ_SECONDS ?= 20

.PHONY: run gui test bench lint asan tsan fuzz install setup configure build program clean

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
