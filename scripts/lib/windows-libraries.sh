# Cross-builds the static Windows libraries from Debian's source packages into the user's cache. Source it after
# common.sh. The cache key covers the recipe, the toolchain and the versions, so that a changed recipe builds anew.

windows_headers=(CLI/CLI.hpp nlohmann/json.hpp)
windows_archives=(libfftw3f.a libsndfile.a libebur128.a)

# version_of PACKAGE: the version of the source it was built from.
version_of() {
    dpkg-query -W -f '${source:Version}' "$1"
}

# The folder that holds, or will hold, the libraries of this recipe.
windows_prefix() {
    local versions hash
    versions="$(version_of libfftw3-dev) $(version_of libsndfile1-dev) $(version_of libebur128-dev) \
$(version_of libcli11-dev) $(version_of nlohmann-json3-dev) $(version_of gcc-mingw-w64-x86-64-posix)"
    hash=$({
        printf '%s\n' "$versions"
        declare -f fetch_source cross_build build_windows_libraries
        cat "$root/cmake/mingw-w64.cmake"
    } | sha256sum | cut -c1-12)
    printf '%s/windows-fftw-%s-%s\n' "$cache" "$(version_of libfftw3-dev)" "$hash"
}

# Returns whether PREFIX has every library and header that the Windows build takes from it.
is_windows_prefix() {
    local name
    for name in "${windows_archives[@]/#/lib/}" "${windows_headers[@]/#/include/}"; do
        [ -f "$1/$name" ] || return 1
    done
}

# apt with the machine's own sources turned to source packages, in a folder of its own: nothing of the system's lists or
# caches is touched, and no host is named. Third-party sources are left out, as they rarely offer source packages.
private_apt() {
    local folder=$1
    shift
    apt-get -q -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$folder/parts" -o Dir::State::Lists="$folder/lists" \
        -o Dir::Cache="$folder/cache" -o APT::Sandbox::User="$(id -un)" "$@"
}

prepare_private_apt() {
    local folder=$1 codename file
    mkdir -p "$folder/parts" "$folder/lists/partial" "$folder/cache/archives/partial"
    codename=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
    for file in /etc/apt/sources.list.d/*.sources; do
        grep -qsE "^Suites:.*\b$codename( |-updates|-security|$)" "$file" || continue
        sed 's/^Types:.*/Types: deb-src/' "$file" >"$folder/parts/$(basename "$file")"
    done
    cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
        grep -E "^deb .* $codename(-updates|-security)? " | sed 's/^deb /deb-src /' >"$folder/parts/one-line.list" || true
    logged "$folder/log" "the lists of Debian's source packages could not be fetched; is the network there?" \
        private_apt "$folder" -o APT::Update::Error-Mode=any update
}

# fetch_source WORK PACKAGE VERSION [OPTION]: into the folder WORK/PACKAGE.
fetch_source() {
    local work=$1 package=$2 version=$3 option=${4:-} log=$1/fetch.log
    say "fetching Debian's source of $package $version"
    mkdir -p "$work/download"
    cd "$work/download"
    private_apt "$work/apt" source $option "$package=$version" >"$log" 2>&1 </dev/null ||
        logged "$log" "the source package $package could not be fetched." private_apt "$work/apt" source $option "$package"
    if [ "$option" = --tar-only ]; then
        tar xf "$package"_*.orig.tar.*
    fi
    mv "$package"-*/ "$work/$package"
}

# cross_build WORK NAME PREFIX CMAKE-OPTION...: installs WORK/NAME for PREFIX, but below WORK/stage.
cross_build() {
    local work=$1 name=$2 prefix=$3 log=$1/$2.log
    shift 3
    say "building $name for Windows"
    logged "$log" "$name could not be configured for Windows." \
        cmake -S "$work/$name" -B "$work/build-$name" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_SHARED_LIBS=OFF \
        -DCMAKE_POLICY_DEFAULT_CMP0077=NEW "$@"
    logged "$log" "$name could not be built for Windows." cmake --build "$work/build-$name" -j "$jobs"
    DESTDIR=$work/stage logged "$log" "$name could not be installed." cmake --install "$work/build-$name"
}

build_windows_libraries() {
    local work=$1 prefix=$2 fftw
    prepare_private_apt "$work/apt"
    fetch_source "$work" fftw3 "$(version_of libfftw3-dev)"
    fetch_source "$work" libsndfile "$(version_of libsndfile1-dev)"
    # The upstream archive alone: Debian's changes to it concern its own packaging.
    fetch_source "$work" libebur128 "$(version_of libebur128-dev)" --tar-only

    # FFTW takes longest. The others' configuration, which keeps one processor busy at most, goes on beside it.
    # Its own allocator, because the C library's gives 16-byte alignment only. The instruction sets are those of Debian's
    # own build, so that both choose the same transforms and round alike. Its error messages name its files, which are
    # to be the same wherever it is built.
    cross_build "$work" fftw3 "$prefix" -DENABLE_FLOAT=ON -DENABLE_SSE2=ON -DENABLE_AVX=ON \
        -DDISABLE_FORTRAN=ON -DBUILD_TESTS=OFF "-DCMAKE_C_FLAGS=-DWITH_OUR_MALLOC=1 -ffile-prefix-map=$work/=" &
    fftw=$!
    cross_build "$work" libsndfile "$prefix" -DENABLE_EXTERNAL_LIBS=OFF -DENABLE_MPEG=OFF -DBUILD_PROGRAMS=OFF \
        -DBUILD_EXAMPLES=OFF -DBUILD_TESTING=OFF -DENABLE_CPACK=OFF
    cross_build "$work" libebur128 "$prefix" -DENABLE_INTERNAL_QUEUE_H=ON

    # The header-only libraries: the system's include folder itself must never be on the cross compiler's path.
    cp -r /usr/include/CLI /usr/include/nlohmann "$work/stage$prefix/include/"
    wait "$fftw"
}

# Builds the libraries unless they are there. Several runs at once wait for one another; an interrupted one leaves
# nothing under the final name.
provide_windows_libraries() {
    local prefix work
    prefix=$(windows_prefix)
    is_windows_prefix "$prefix" && return
    mkdir -p "$cache"
    (
        flock -n 9 || { say "waiting for another run that builds the Windows libraries" && flock 9; }
        is_windows_prefix "$prefix" && exit
        rm -rf "$cache"/windows-work.*
        work=$(mktemp -d "$cache/windows-work.XXXXXX")
        trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
        say "building the Windows libraries, once; this takes a few minutes"
        build_windows_libraries "$work" "$prefix"
        is_windows_prefix "$work/stage$prefix" || fail "the Windows libraries are incomplete after their build."
        rm -rf "$prefix"
        mv "$work/stage$prefix" "$prefix"
    ) 9>"$cache/windows.lock"
}
