# Checks what is in the files that are shipped for Windows, without running them, and that the checks find what is
# planted. Source it after builds.sh; the Windows build is there.

tool_prefix=x86_64-w64-mingw32-

# describe_binary FILE: what the file is, in lines as binaries.list has them, with one value each.
describe_binary() {
    "${tool_prefix}objdump" -p -h "$1" | awk '
        function fact(kind, value) { print kind, value }
        /^\t+(HIGH_ENTROPY_VA|DYNAMIC_BASE|NX_COMPAT)$/ { fact("hardening", $1) }
        /^Entry d / && $4 !~ /^0+$/ { fact("delayed", "imports") }
        /^\tDLL Name: / { fact("import", $3) }
        /^\[Ordinal\/Name Pointer\] Table/ { exports = 1; next }
        exports && /^\t\[ *[0-9]+\]/ { fact("export", $NF); next }
        { exports = 0 }
        /^000 +Type Table/ { resources = 1 }
        resources && /^[0-9a-f]+   Entry: ID: / { fact("resource", substr($4, length($4) - 2, 2)) }
        /^ *[0-9]+ [^ ]+ +[0-9a-f]+  / && NF == 7 { section = $2 }
        /^ +(CONTENTS|ALLOC)/ && section != "" {
            fact("section", section ":r" (/READONLY/ ? "" : "w") (/CODE/ ? "x" : ""))
            section = ""
        }' | sort -u
}

# expected_binary NAME: the same as the list has it.
expected_binary() {
    awk -v file="$1" '$1 == file && $2 != "bytes" { for (i = 3; i <= NF; ++i) print $2, $i }' \
        "$root/scripts/lib/binaries.list" | sort
}

# binary_differences NAME FILE: what the list says of NAME that the file is not, and what it is beyond that.
binary_differences() {
    local limit
    limit=$(awk -v file="$1" '$1 == file && $2 == "bytes" { print $3 }' "$root/scripts/lib/binaries.list")
    diff <(expected_binary "$1") <(describe_binary "$2") | sed -n 's/^</lacks/p; s/^>/has/p'
    [ "$(stat -c %s "$2")" -le "$limit" ] || echo "has more than $limit bytes"
}

# realtime_reach LIBRARY SYMBOLS LIST: what its real-time section reaches beyond the list.
realtime_reach() {
    awk -f "$root/scripts/lib/realtime-section.awk" "$3" <("${tool_prefix}nm" -n "$2") \
        <("${tool_prefix}objdump" -d --no-show-raw-insn -j RT_CODE "$1")
}

# expect_lines WHAT EXPECTED FOUND
expect_lines() {
    if [ "$2" = "$3" ]; then
        count_result 1 0
    else
        say "$1:"
        diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") | sed -n 's/^</   not found:/p; s/^>/   found:/p' || true
        count_result 0 1
    fi
}

# build_planted FOLDER: planted.dll, with a manifest, and bigger than the effect's library may be.
build_planted() {
    printf '24 24 "planted.manifest"\n' >"$1/planted.rc"
    printf '<assembly/>\n' >"$1/planted.manifest"
    (cd "$1" && "${tool_prefix}windres" planted.rc planted.o &&
        "${tool_prefix}gcc" -O2 -shared -nostdlib -Wl,--entry=DllMain,--disable-dynamicbase,--disable-nxcompat \
            -o planted.dll "$root/scripts/lib/planted.c" planted.o -lkernel32 && truncate -s 2700001 planted.dll)
}

# The checks on a library that has what they look for, in the place of the effect's.
check_planted_binary() {
    local folder
    folder=$(mktemp -d)
    build_planted "$folder"
    expect_lines "what a planted library reaches" "$(printf 'reaches %s\n' SetEvent Sleep another ordinary)" \
        "$(realtime_reach "$folder/planted.dll" "$folder/planted.dll" /dev/null | sort)"
    local fact found
    found=$(binary_differences Tovix64.dll "$folder/planted.dll")
    for fact in 'lacks hardening DYNAMIC_BASE' 'lacks hardening NX_COMPAT' 'lacks export DllCanUnloadNow' \
        'has export value' 'lacks import ole32.dll' 'lacks resource 10' 'has resource 18' 'has section .both:rwx' \
        'has more than 2700000 bytes'; do
        expect_lines "a planted library $fact" "$fact" "$(grep -xF "$fact" <<<"$found" || true)"
    done
    rm -r "$folder"
}

# Every name of a library that stands in the shipped files, and some that the system's own libraries load late.
library_names() {
    local file
    for file in $(awk '$2 == "bytes" { print $1 }' "$root/scripts/lib/binaries.list"); do
        strings "$root/build/windows/bin/$file"
        strings -e l "$root/build/windows/bin/$file"
    done | grep -oiE '[a-z0-9_]+\.dll\b' |
        cat - <(printf '%s.dll\n' version winmm profapi cryptbase uxtheme dbghelp netutils wkscli rsaenh sndfile fftw3f) |
        tr '[:upper:]' '[:lower:]' | sort -u
}

# A second of silence as a sound file: stereo, 16 bits, 48 kHz.
silent_wave() {
    printf 'RIFF\x24\xee\x02\0WAVEfmt \x10\0\0\0\x01\0\x02\0\x80\xbb\0\0\0\xee\x02\0\x04\0\x10\0data\0\xee\x02\0'
    head -c 192000 /dev/zero
}

# No library is loaded that lies in the current folder, beside a sound file or on the path, nor beside the programs where
# it does not belong there. That folder and path are searched is shown by a program that asks for a bare name.
check_planted_libraries() {
    say "libraries planted in the current folder, beside sound files and on the path"
    local folder name place run bin=$root/build/windows/bin prefix=$root/build/windows/wine status=0
    folder=$(mktemp -d)
    build_planted "$folder"
    for place in current path sounds; do
        mkdir "$folder/$place"
        for name in $(library_names); do
            ln "$folder/planted.dll" "$folder/$place/$name"
        done
    done
    # Beside a program and the effect's library lies a logger's; the audio engine's belongs to the system folder alone.
    mkdir "$folder/programs"
    cp "$bin"/{Tovix64.dll,tovixctl.exe,tovix-render.exe} "$folder/programs"
    ln "$folder/planted.dll" "$folder/programs/audioeng.dll"
    silent_wave >"$folder/sounds/in.wav"
    run=(env -C "$folder/current" "WINEPATH=$folder/path" "$root/cmake/run-wine" "$prefix")
    {
        "${run[@]}" ../programs/tovixctl.exe log-level 5 &&
            "${run[@]}" ../programs/tovixctl.exe status && "${run[@]}" ../programs/tovixctl.exe devices &&
            "${run[@]}" ../programs/tovix-render.exe --set 'Boost: 60 dB 1' ../sounds/in.wav ../sounds/out.wav &&
            "${run[@]}" ../programs/tovix-render.exe --core --set 'Equalizer: 100 3' ../sounds/in.wav core.wav
    } >"$root/build/planted.log" 2>&1 </dev/null || status=1
    "${run[@]}" reg delete 'HKLM\Software\Quelmark\Volmora' /v MLS /f >/dev/null 2>&1 </dev/null || true
    expect_lines "the programs beside planted libraries (log: build/planted.log)" 0 "$status"
    expect_lines "libraries that were loaded" "" "$(cd "$folder" && find . -name '*.loaded')"
    # One that is loaded already, from elsewhere, is not used either.
    expect_lines "the engine's allocator beside a foreign library of its name" $'ok\nnot installed' \
        "$(printf '%s\n' 'load ../programs/audioeng.dll' allocator | "${run[@]}" "$bin/tovix-effect-side.exe" | tr -d '\r')"
    rm -f "$folder/programs/audioeng.dll.loaded"
    for place in current path; do
        echo 'load logger64.dll' | "${run[@]}" "$bin/tovix-effect-side.exe" >/dev/null 2>&1 || true
        expect_lines "a library asked for by its bare name" "./$place/logger64.dll.loaded" \
            "$(cd "$folder" && find . -name '*.loaded')"
        rm -f "$folder/$place"/logger64.dll*
    done
    rm -r "$folder"
}

check_binaries() {
    say "what is in the Windows files"
    local name bin=$root/build/windows/bin
    for name in $(awk '$2 == "bytes" { print $1 }' "$root/scripts/lib/binaries.list"); do
        expect_lines "$name" "" "$(binary_differences "$name" "$bin/$name")"
    done
    expect_lines "what the real-time section reaches" "" \
        "$(realtime_reach "$bin/Tovix64.dll" "$bin/Tovix64.dll.debug" "$root/scripts/lib/realtime-section.list")"
    check_planted_binary
}
