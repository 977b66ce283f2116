#!/usr/bin/env bash
# Builds the Debian packages and the tarball and has lintian look at the packages. VERSION: another version, for trials.
set -euo pipefail
cmake --preset package -DHOISTLINE_VERSION="${VERSION:-}" >/dev/null
cmake --build --preset package
cd build/package
rm -rf packages _CPack_Packages
umask 022
cpack >cpack.log 2>&1 || { cat cpack.log; exit 1; }
desktop-file-validate ../../packaging/HoistlineApp.desktop
appstreamcli validate --no-net HoistlineApp.metainfo.xml >appstream.log || { cat appstream.log; exit 1; }
lintian --fail-on error,warning --allow-root packages/*.deb
ls -sh packages/*.*
