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
check NoBuildPath bash -c "! grep -aF -e '$checkout' -e '$work' '$library'"

example=$checkout/examples/where_it_stands.cpp
with_pkg_config() {
    local flags
    read -ra flags <<<"$(pkg-config --cflags --libs harbex)"
    c++ -std=c++20 -Wall -Wextra -Werror "$example" "${flags[@]}" -Wl,-rpath,"$work/root/lib" -o "$work/with_pkg_config"
}
check PkgConfig with_pkg_config
every_header() {
    find "$work/root/include/harbex" -name '*.h' -printf '#include <%P>\n' >"$work/all.cpp"
    c++ -std=c++20 -fsyntax-only -Wall -I"$work/root/include/harbex" "$work/all.cpp"
}
check EveryHeaderStandsAlone every_header

# On a NAS: the settings are read through its tools.
used() {
    "$checkout/appliance/appliance" --build "$build" --bare -- bash -c "setcfg 'Join Corvane' CORVANE_ORG_NAME 'Field Office' \
        -f /etc/config/harbex/corvane.conf && $work/with_pkg_config" | diff - <(printf '%-14s%s\n' organisation 'Field Office' region - address -)
}
check RunsWithPkgConfig used

# The simulated NAS, installed, needs nothing of the checkout.
installed_appliance() {
    cmake --install "$build" --prefix "$work/whole" && cd / &&
        [ "$("$work/whole/share/harbex/appliance/appliance" -- bsh --list harbex_network_service | wc -l)" -eq 15 ] &&
        "$work/whole/share/harbex/appliance/appliance" -- bash -c '! grep -rqs "$0" /run/appliance' "$checkout/appliance"
}
check InstalledAppliance installed_appliance

echo "[  PASSED  ] $passed tests."
[ "$failed" -eq 0 ] || { echo "[  FAILED  ] $failed tests, listed above"; exit 1; }
