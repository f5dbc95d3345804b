#!/usr/bin/env bash
# Makes the man pages of the tool and of each of its commands from their help, compressed and with no time of
# making in them. Usage: packaging/make-man-pages.sh VELMAR DIRECTORY
set -eu
velmar=$(realpath "$1")
directory=$2
changelog=$(dirname "$0")/changelog
SOURCE_DATE_EPOCH=$(date -d "$(sed -n 's/^ -- .*>  //p' "$changelog" | head -n 1)" +%s)
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8

version=$("$velmar" --version)
mapfile -t commands < <("$velmar" --help | sed -n '/^Subcommands:/,/^$/ s/^  \([a-z]\+\) .*/\1/p')
[ ${#commands[@]} -gt 0 ]
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

page() { # page NAME WHAT RELATED [COMMAND]
  # The page has the name of the program that is asked.
  printf '#!/bin/sh\nexec "%s" %s "$@"\n' "$velmar" "${4:-}" >"$scratch/$1"
  chmod +x "$scratch/$1"
  printf '[see also]\n%s\n' "$3" >"$scratch/related"
  help2man --no-info --source=libvelmar_sdk --manual="User Commands" --version-string="${version#* }" \
    --name="$2" --include="$scratch/related" "$scratch/$1" | gzip -9n >"$scratch/$1.1.gz"
}

all=
for command in "${commands[@]}"; do
  what=$("$velmar" "$command" --help | head -n 1)
  page "velmar-$command" "${what,}" '.BR velmar (1)' "$command"
  all+=".BR velmar-$command (1)"$'\n'
done
page velmar "simulated motion-capture server and tools for its streams" "${all%?}"
rm -rf "$directory"
mkdir -p "$directory"
mv "$scratch"/*.1.gz "$directory"
