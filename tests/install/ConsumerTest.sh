# What a client gets from an installed copy, through CMake and through pkg-config, and from adding
# the source tree to its own project: examples/client is built and run in all three ways.
set -euo pipefail

if [[ -n $T8_SANITIZE ]]; then
    echo "SKIPPED: a client without the sanitizer cannot use a library with it"
    exit 77
fi
if [[ -e /tmp/settings-reset-to-default-in-progress.tmp ]]; then
    echo "SKIPPED: this machine's settings are being reset, so no client may save"
    exit 77
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
client=$T8_SOURCE_DIR/examples/client

# Shows what a command says only if it fails.
quietly() {
    "$@" >"$work/output" 2>&1 || {
        cat "$work/output"
        exit 1
    }
}

# expect_client_works NAME COMMAND...: the client changes the language, and the change is on disk.
expect_client_works() {
    local name=$1 output expected=$'language was da\nlanguage is fi'
    shift
    cp -r "$T8_SOURCE_DIR/examples/tv" "$work/$name-tv"
    output=$("$@" "$work/$name-tv")
    [[ $output == "$expected" ]] || {
        echo "the client built by $name says: $output"
        exit 1
    }
    grep -qx 'language = string,fi' "$work/$name-tv/settings/settings.ini" || {
        echo "the client built by $name has not saved"
        exit 1
    }
    echo "$name: works"
}

quietly cmake --install "$T8_BINARY_DIR" --prefix "$work/prefix"

# From another place than the one that it was installed to: packages are staged before they ship.
mv "$work/prefix" "$work/moved"
prefix=$work/moved
libraries=$(dirname "$(find "$prefix" -name libT8SettingsManager.so)")

if [[ -x $prefix/bin/t8settings ]]; then
    tool=$T8_SOURCE_DIR/tools/t8settings
    cmp "$prefix/share/man/man1/t8settings.1" "$tool/t8settings.1"
    cmp "$prefix/share/bash-completion/completions/t8settings" "$tool/completion/t8settings.bash"
    cmp "$prefix/share/zsh/site-functions/_t8settings" "$tool/completion/_t8settings"
fi

strict=(-Wall -Wextra -Wconversion -Werror)

# The warnings come after CMake's own look at the compiler, which they would fail. The root: a build
# for another processor looks for packages below its roots alone.
echo "add_compile_options(${strict[*]})" >"$work/strict.cmake"
quietly cmake -G Ninja -S "$client" -B "$work/found" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_FIND_ROOT_PATH="$prefix" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_PROJECT_INCLUDE="$work/strict.cmake"
quietly cmake --build "$work/found"
expect_client_works find_package "$work/found/client"

export PKG_CONFIG_PATH=$libraries/pkgconfig
read -ra flags <<<"$T8_CXX_FLAGS $(pkg-config --cflags --libs T8SettingsManager)"
"$CXX" -std=c++17 "${strict[@]}" "$client/client.cpp" -o "$work/by-pkg-config" "${flags[@]}"
expect_client_works pkg-config env LD_LIBRARY_PATH="$libraries" "$work/by-pkg-config"

mkdir "$work/adding"
cat >"$work/adding/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.22)
project(Adding LANGUAGES CXX)
add_subdirectory($T8_SOURCE_DIR t8)
add_executable(client $client/client.cpp)
target_link_libraries(client PRIVATE T8SettingsManager::T8SettingsManager)
END
quietly cmake -G Ninja -S "$work/adding" -B "$work/added" -DCMAKE_CXX_COMPILER="$CXX"
if grep -qE 'QlogTest|bin/t8settings' "$work/added/build.ninja"; then
    echo "a project that adds this one is made to build its tests or its tool"
    exit 1
fi
quietly cmake --build "$work/added" -j 2
expect_client_works add_subdirectory "$work/added/client"
