#!/usr/bin/env bash
# consumer.sh COMPILER SOURCE PREFIX LIBDIR WORK: builds examples/consumer against an install, through the CMake package
# and through pkg-config, and runs both over the sample estate.
set -euo pipefail
compiler=$1 source=$2 prefix=$3 libdir=$4 work=$5

rm -rf "$work"
mkdir -p "$work"

cmake -S "$source/examples/consumer" -B "$work/cmake" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$prefix"
cmake --build "$work/cmake"

export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
read -ra flags < <(pkg-config --cflags --libs vsdkdb)
"$compiler" -std=c++17 "$source/examples/consumer/main.cpp" "${flags[@]}" "-Wl,-rpath,$prefix/$libdir" \
    -o "$work/pkgconfig-consumer"

database=$work/hub.db
"$prefix/bin/hubdb" create "sqlite:$database"
"$prefix/bin/hubdb" load "sqlite:$database" "$source/examples/estate.json"

for consumer in "$work/cmake/consumer" "$work/pkgconfig-consumer"; do
    lines=$("$consumer" "sqlite:$database" 2)
    echo "$lines"
    grep -Eq '^[0-9]+ +[0-9]+ +[^ ]' <<<"$lines" || { echo "$consumer lists no agent" >&2; exit 1; }
    if "$consumer" "sqlite:$work/none.db" 2; then
        echo "$consumer does not notice a missing database" >&2
        exit 1
    fi
done
