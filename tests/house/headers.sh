#!/usr/bin/env bash
# headers.sh COMPILER STANDARD INCLUDE_ROOT... -- FOLDER...: every header below the folders compiles on its own, without
# a warning.
set -euo pipefail
compiler=$1 standard=$2
shift 2

command=("$compiler" -fsyntax-only "-std=$standard" -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
while [[ $1 != -- ]]; do
    command+=("-I$1")
    shift
done
shift

count=$(find "$@" -name '*.h' | wc -l)
((count > 0)) || {
    echo "no header below $*" >&2
    exit 1
}
compile() {
    local header=$1
    shift
    echo "#include \"$header\"" | "$@" -x c++ - || {
        echo "$header does not compile on its own" >&2
        return 1
    }
}
export -f compile
# shellcheck disable=SC2016 # expanded by the inner shell
find "$@" -name '*.h' -print0 | sort -z |
    xargs -0 -P "$(nproc)" -I{} bash -c 'compile "$@"' _ {} "${command[@]}"
echo "$count headers"
