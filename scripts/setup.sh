#!/usr/bin/env bash
# Installs what the project needs from Debian's packages, and says exactly what is missing where it may not.
# Usage: scripts/setup.sh LIST...   (files such as scripts/packages.txt)
set -euo pipefail

wanted=$(grep -hv -e '^#' -e '^[[:space:]]*$' "$@" | sort -u)

installed() {
    dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

missing=()
for package in $wanted; do
    installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

refuse() {
    echo "setup: $1" >&2
    echo "setup: please install these packages and run again:" >&2
    echo "    ${missing[*]}" >&2
    exit 1
}

command -v apt-get >/dev/null || refuse "this system has no apt-get."
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null && sudo -n true 2>/dev/null || refuse "packages can only be installed as root."
    as_root=(sudo)
fi

echo "setup: installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update -qq &&
       "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
       >"$log" 2>&1; then
    tail -n 5 "$log" >&2
    refuse "the packages could not be installed."
fi
