#!/usr/bin/env bash
# symbols.sh print LIBRARY: the symbols that a library exports.
# symbols.sh check LIBRARY LIST: holds them to a kept list; scripts/symbols writes it anew.
#
# Left out: weak functions, which come and go with the optimiser, and instantiations of the standard library.
set -euo pipefail

print() {
    nm -D --defined-only "$1" |
        awk '$2 != "W" && $3 !~ /^_Z(T[ISVT]|GVZ?|Z)*(N[KVrO]*)?(S[tabsiod]|9__gnu_cxx)/ { print $3 }' |
        c++filt |
        sed 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
             s/std::basic_string_view<char, std::char_traits<char> >/std::string_view/g
             s/\[abi:cxx11\]//g' |
        LC_ALL=C sort -u
}

case $1 in
print) print "$2" ;;
check)
    diff --unified=0 --label "kept list" --label "exported" "$3" <(print "$2") || {
        echo "$2 does not export what $3 says; if that is meant, run scripts/symbols" >&2
        exit 1
    }
    ;;
*) exit 2 ;;
esac
