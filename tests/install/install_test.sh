#!/usr/bin/env bash
# The library as others get it: built with nothing but what it needs, installed, used by programs of their own.
#   install_test.sh CHECKOUT BUILD
set -euo pipefail

checkout=$1 build=$2 work=$2/install_test
rm -rf "$work"
mkdir -p "$work"
passed=0 failed=0
launcher=()
! command -v ccache >/dev/null || launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

check() { # NAME COMMAND …
    local name=$1
    shift
    if "$@" >"$work/out" 2>&1; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "[  FAILED  ] install.$name"
        tail -n 30 "$work/out"
    fi
}

refused() { # WORDS OPTION …
    local words=$1
    shift
    rm -rf "$work/wrong"
    ! cmake -G Ninja -S "$checkout" -B "$work/wrong" "$@" >"$work/refusal" 2>&1 && grep -q "$words" "$work/refusal"
}
check UnknownPlatform refused "HARBEX_PLATFORM is host or nas, not 'moon'" -DHARBEX_PLATFORM=moon
check NasWithoutCredentials refused "needs the application's own credentials" -DHARBEX_PLATFORM=nas
check NoArmhfRoot refused "there are no armhf libraries in" \
    -DCMAKE_TOOLCHAIN_FILE="$checkout/cmake/armhf.cmake" -DHARBEX_ARMHF_ROOT=/nowhere

build_and_install() {
    cmake -G Ninja -S "$checkout" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DHARBEX_TOOLS=OFF -DHARBEX_APPLIANCE=OFF \
        -DCMAKE_INSTALL_PREFIX="$work/root" "${launcher[@]}" && cmake --build "$work/build" --target harbex &&
        cmake --install "$work/build" --component library && cmake --install "$work/build" --component development
}
check BuildAndInstall build_and_install
export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
library=$work/root/lib/libharbex.so.1

exports() {
    nm -DC --defined-only "$library" | sed -E 's/^[0-9a-f]+ . //; s/[(@[].*//; s/(::(JsonValue|VpnProcess)::).*/\1/' |
        grep -v '^HARBEX_1$' | sort -u | diff - <(grep -v '^#' "$checkout/cmake/published_names.txt" | sort)
}
check OnlyPublishedNames exports
# Marked jump targets, stack probes, and a copy whose bounds are known at run time only.
hardened() {
    local code
    code=$(objdump -d "$library"; nm -D "$library")
    [ "$(grep -c endbr64 <<<"$code")" -gt 100 ] && grep -q 'orq *$0x0,(%rsp)' <<<"$code" && grep -q __memcpy_chk <<<"$code"
}
[ "$(uname -m)" != x86_64 ] || check Hardened hardened
check NoBuildPath bash -c "! grep -aF -e '$checkout' -e '$work' '$library'"

example=$checkout/examples/where_it_stands.cpp
with_pkg_config() {
    local flags
    read -ra flags <<<"$(pkg-config --cflags --libs harbex)"
    c++ -std=c++20 -Wall -Wextra -Werror "$example" "${flags[@]}" -Wl,-rpath,"$work/root/lib" -o "$work/with_pkg_config"
}
check PkgConfig with_pkg_config
with_cmake() {
    mkdir -p "$work/consumer"
    cat >"$work/consumer/CMakeLists.txt" <<TEXT
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
find_package(harbex 1 REQUIRED)
add_executable(with_cmake $example)
target_compile_features(with_cmake PRIVATE cxx_std_20)
target_link_libraries(with_cmake harbex::harbex)
TEXT
    cmake -G Ninja -S "$work/consumer" -B "$work/consumer/build" -DCMAKE_PREFIX_PATH="$work/root" &&
        cmake --build "$work/consumer/build"
}
check FindPackage with_cmake
every_header() {
    find "$work/root/include/harbex" -name '*.h' -printf '#include <%P>\n' >"$work/all.cpp"
    c++ -std=c++20 -fsyntax-only -Wall -I"$work/root/include/harbex" "$work/all.cpp"
}
check EveryHeaderStandsAlone every_header

# On a NAS: the settings are read through its tools.
used() { # PROGRAM
    "$checkout/appliance/appliance" --build "$build" --bare -- bash -c "setcfg 'Join Corvane' CORVANE_ORG_NAME 'Field Office' \
        -f /etc/config/harbex/corvane.conf && $1" | diff - <(printf '%-14s%s\n' organisation 'Field Office' region - address -)
}
check RunsWithPkgConfig used "$work/with_pkg_config"
check RunsWithCMake used "$work/consumer/build/with_cmake"

# The simulated NAS, installed, needs nothing of the checkout.
installed_appliance() {
    cmake --install "$build" --prefix "$work/whole" && cd / &&
        [ "$("$work/whole/share/harbex/appliance/appliance" -- bsh --list harbex_network_service | wc -l)" -eq 15 ] &&
        "$work/whole/share/harbex/appliance/appliance" -- bash -c '! grep -rqs "$0" /run/appliance' "$checkout/appliance"
}
check InstalledAppliance installed_appliance

echo "[  PASSED  ] $passed tests."
[ "$failed" -eq 0 ] || { echo "[  FAILED  ] $failed tests, listed above"; exit 1; }
