#!/usr/bin/env bash
# Makes the reference of the public headers, build/docs/html/index.html, and checks the pages. What is not documented,
# a link that leads nowhere, and a finding of velmar doctor without an explanation are errors.
set -eu
cd "$(dirname "$0")/.."
scripts/prepare.sh all
version=$(sed -nE 's/^project\(.*VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
rm -rf build/docs
mkdir -p build/docs
VELMAR_VERSION=$version doxygen docs/Doxyfile

failed=0
complain() { echo "$*" >&2; failed=1; }

anchors() { # anchors PAGE: of its headings, as the hosts of repositories make them
  sed -nE 's/^#+ (.*)/\L\1/p' "$1" | sed 's/[^a-z0-9 _-]//g; s/ /-/g'
}

for page in README.md docs/*.md; do
  while read -r link; do
    target=${link%%#*}
    file=$page
    [ -z "$target" ] || file=$(dirname "$page")/$target
    if [ ! -e "$file" ]; then
      complain "$page: no file for the link $link"
    elif [[ $link == *#* ]] && ! anchors "$file" | grep -qxF -- "${link#*#}"; then
      complain "$page: no heading for the link $link"
    fi
  done < <(grep -oE '\]\([^)]+\)' "$page" | sed 's/^](//; s/)$//' | grep -v '^https\?:')
done

# Findings are literals of their own in the checks, in the words of the page's table.
for cause in $(grep -ohE '"[a-z]+(-[a-z]+)+",' tools/velmar/doctor/*Checks.cpp | tr -d '",'); do
  grep -q "^| \`$cause\` |" docs/troubleshooting.md || complain "docs/troubleshooting.md: nothing on $cause"
done
[ "$failed" = 0 ]
echo "build/docs/html/index.html"
