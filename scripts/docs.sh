#!/usr/bin/env bash
# Makes the pages of docs/ and the reference of the public header: build/docs/html/index.html. What is not
# documented, and a link that leads nowhere, is an error.
set -eu
cd "$(dirname "$0")/.."
scripts/prepare.sh all
version=$(sed -nE 's/^project\(.*VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
rm -rf build/docs
mkdir -p build/docs
VELMAR_VERSION=$version doxygen docs/Doxyfile
echo "build/docs/html/index.html"
