#!/usr/bin/env bash
# Checks the file of the library: a host sees of it what it needs and nothing else, and does not
# unload it, since its type records stay registered for good.
set -euo pipefail

machine='MacsecProxy::MacsecProxy(Intf)?Sm'
needed="MacsecProxy::macsecProxySmFactory\(.*|$machine::(~?\w+\(.*|_kivType|kivAllocTrackTypeInfo_)"
needed+="|(vtable|typeinfo|typeinfo name) for $machine"
private='::MacsecProxy(Intf)?Sm\(|::send\('

symbols=$(nm -D --defined-only -C "$1")
if grep -vE "^\w+ \w ($needed)$" <<<"$symbols" || grep -E "$private" <<<"$symbols"; then
  echo "are strangers" >&2
  exit 1
fi
[ "$(wc -l <<<"$symbols")" -gt 40 ] || { echo "there is less than a host needs" >&2; exit 1; }
readelf -d "$1" | grep -w NODELETE || { echo "it can be unloaded" >&2; exit 1; }
