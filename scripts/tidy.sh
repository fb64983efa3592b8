#!/usr/bin/env bash
# Runs clang-tidy over the sources (not the tests, and not the level files of the kernels, which are one source in five
# builds). Usage: scripts/tidy.sh [FILE...]
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ -f build/release/compile_commands.json ] || cmake --preset release >/dev/null
if [ $# -eq 0 ]; then
    mapfile -t files < <(git ls-files 'app/*.cpp' 'effect/*.cpp' 'host/*.cpp' 'ip/*.cpp' 'platform/*_posix.cpp' \
        'support/*.cpp' | grep -vE '_(windows|baseline|sse2|sse41|avx2|avx512)\.cpp$')
    set -- "${files[@]}"
fi
printf '%s\0' "$@" | xargs -0 -n 4 -P "$(nproc)" clang-tidy --quiet -p build/release
