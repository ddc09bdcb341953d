# The Debian packages that the builds need, and their installation. Source it after common.sh.

# For whatever is built.
build_packages=(
    cmake ninja-build libfftw3-dev libsndfile1-dev libebur128-dev libcli11-dev nlohmann-json3-dev googletest
)
native_packages=(
    build-essential libbenchmark-dev libzita-convolver-dev clang-format-14
    libclang-rt-19-dev # only for RealtimeSanitizer's static runtime
)
cross_packages=(g++-mingw-w64-x86-64-posix dpkg-dev xz-utils)
wine_packages=(wine64)
picture_packages=(gnuplot-nox) # which scripts/plot installs by itself where it comes first
peer_packages=(ffmpeg) # which scripts/bench --compare installs by itself
limiter_packages=(ffmpeg swh-plugins lsp-plugins-ladspa) # and scripts/bench --limiters
check_packages=(clang-14 libclang-rt-14-dev clang-tidy-14)
package_packages=(zip unzip) # for scripts/package
model_packages=(spin) # for scripts/model
coverage_packages=(python3) # for scripts/coverage and scripts/mutate; gcov comes with the compilers

missing_packages() {
    local package status
    for package in "$@"; do
        status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || status=
        [ "$status" = installed ] || printf '%s\n' "$package"
    done
}

# Installs those of the packages given that are not there yet; needs root, sudo or nothing.
install_packages() {
    local missing as_root=()
    command -v dpkg-query >/dev/null || fail "this is no Debian system; install the packages that scripts/lib/packages.sh lists in your own way."
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    say "installing ${#missing[@]} Debian packages: ${missing[*]}"
    command -v apt-get >/dev/null || fail "these packages are missing and there is no apt-get to install them: ${missing[*]}"
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing; install them as root: ${missing[*]}"
        if [ -t 0 ]; then as_root=(sudo); else as_root=(sudo -n); fi
        "${as_root[@]}" true || fail "these packages are missing and sudo gives no rights to install them: ${missing[*]}"
    fi
    mkdir -p "$cache"
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 -q -y)
    logged "$cache/apt.log" "apt-get could not read the package lists; is the network there? (log: $cache/apt.log)" \
        "${apt[@]}" update
    logged "$cache/apt.log" "apt-get could not install ${missing[*]}; is the network there? (log: $cache/apt.log)." \
        "${apt[@]}" install --no-install-recommends "${missing[@]}"
}
