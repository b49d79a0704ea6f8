#!/usr/bin/env bash
# Checks the file of the library: a host sees of it what stands in host-sees.txt and nothing else, and
# does not unload it, since its type records stay registered for good.
set -euo pipefail

nm -D --defined-only -C "$1" | cut -d' ' -f3- | LC_ALL=C sort -u | diff "${0%.sh}.txt" -
readelf -d "$1" | grep -w NODELETE || { echo "it can be unloaded" >&2; exit 1; }
