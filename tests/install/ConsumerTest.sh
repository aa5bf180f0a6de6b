# What a client gets from an installed copy, through CMake and through pkg-config, and from adding
# the source tree to its own project.
set -euo pipefail

if [[ -n $T8_SANITIZE ]]; then
    echo "SKIPPED: a client without the sanitizer cannot use a library with it"
    exit 77
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
client=$T8_SOURCE_DIR/tests/install/consumer

expect_output() {
    local output
    output=$("$@")
    [[ $output == "sound/bass=4" ]] || {
        echo "$1 says \"$output\""
        exit 1
    }
}

cmake --install "$T8_BINARY_DIR" --prefix "$work/prefix" >/dev/null

# From another place than the one that it was installed to: packages are staged before they ship.
mv "$work/prefix" "$work/moved"
prefix=$work/moved
libraries=$(dirname "$(find "$prefix" -name libT8SettingsManager.so)")

cmake -G Ninja -S "$client" -B "$work/found" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$CXX" >/dev/null
cmake --build "$work/found"
expect_output "$work/found/consumer"

export PKG_CONFIG_PATH=$libraries/pkgconfig
read -ra flags < <(pkg-config --cflags --libs T8SettingsManager)
"$CXX" -std=c++17 "$client/consumer.cpp" -o "$work/by-pkg-config" "${flags[@]}"
expect_output env LD_LIBRARY_PATH="$libraries" "$work/by-pkg-config"

cmake -G Ninja -S "$client" -B "$work/added" -DT8_SOURCE_DIR="$T8_SOURCE_DIR" \
    -DCMAKE_CXX_COMPILER="$CXX" >/dev/null
grep -q libT8SettingsManager.so "$work/added/build.ninja"
if grep -qE 'QlogTest|bin/t8settings' "$work/added/build.ninja"; then
    echo "a project that adds this one is made to build its tests or its tool"
    exit 1
fi
