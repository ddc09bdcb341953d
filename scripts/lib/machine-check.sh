# Packs the Windows programs, puts the effect on a machine with a dozen kinds of output devices and takes it off again, as
# a user does with the package, in a Wine prefix that nothing else uses. Source it after common.sh, builds.sh and
# samples.sh; the Windows build is there.

halving_class='{5E2D9A10-4C7B-4F0E-8A11-3C5D7E9FA0B1}' # of the tests' previous effect: halves every sample

# in_machine PROGRAM [ARGUMENT...]
in_machine() {
    "$root/cmake/run-wine" "$machine/prefix" "$@" </dev/null
}

# expect STATUS NAME [ARGUMENT...]: tovixctl of the package ends with this status.
expect() {
    local wanted=$1 status=0
    shift
    in_machine "$machine/package/tovixctl.exe" "$@" >"$machine/answer.txt" 2>&1 || status=$?
    cat "$machine/answer.txt" >>"$machine/said.txt"
    [ "$status" = "$wanted" ] || complain "tovixctl $*: status $status instead of $wanted; it says:" "$(cat "$machine/answer.txt")"
}

complain() {
    say "machine: $*"
    complaints=$((complaints + 1))
}

# Everything that the registry and the disk have, but for the folders for temporary files and for what Wine enters anew
# when a program first makes a window, as the one that keeps the settings does: its display devices and colours.
machine_state() {
    rm -f "$machine"/hk*.reg
    in_machine regedit /E "$(windows_path "$machine/hklm.reg")" 'HKEY_LOCAL_MACHINE'
    in_machine regedit /E "$(windows_path "$machine/hkcu.reg")" 'HKEY_CURRENT_USER'
    iconv -f UTF-16 -t UTF-8 "$machine/hklm.reg" | awk '
        /^\[/ { own = !/\\Hardware\\DEVICEMAP\\VIDEO|\\System\\(CurrentControlSet|ControlSet001)\\(Enum|Control\\(Class|Video|DeviceClasses)|Hardware Profiles)/ }
        own'
    iconv -f UTF-16 -t UTF-8 "$machine/hkcu.reg" | awk '/^\[/ { own = !/\\Wine\\Temporary System Parameters/ } own'
    (cd "$machine/prefix/drive_c" && find . \( -path ./windows/temp -o -path './users/*/Temp' \) -prune -o \
        -type f -printf '%p %s\n' -o -printf '%p\n' | sort)
}

windows_path() {
    printf 'Z:%s' "${1//\//\\}"
}

render_in_machine() {
    in_machine "$machine/package/tovix-render.exe" "$@" >>"$machine/said.txt" 2>&1 ||
        complain "tovix-render $* fails"
}

# half_as_loud A.wav B.wav: whether every sample of B is half of A's.
half_as_loud() {
    paste <(samples_of "$1") <(samples_of "$2") |
        awk '{ d = $1 / 2 - $2; if (d > 1e-6 || d < -1e-6) bad = 1; if ($2 > 0.01) loud = 1 } END { exit bad || !loud }'
}

nothing_left() {
    machine_state | diff "$machine/before.txt" - >>"$machine/left.txt" ||
        complain "$1, installing leaves something (build/machine/left.txt)"
}

# Installing is ended by force, each time a little later, until it is done before; the next command puts right what that
# left, and nothing stays.
check_ended_by_force() {
    local milliseconds program status=1 ended=0 midway=0
    for ((milliseconds = 10; milliseconds <= 500 && status != 0; milliseconds += 10)); do
        # In no subshell: what is to be ended is the program itself.
        "$root/cmake/run-wine" "$machine/prefix" "$machine/package/tovixctl.exe" install --allow-unsigned \
            >>"$machine/said.txt" 2>&1 </dev/null &
        program=$!
        sleep "$(printf '0.%03d' "$milliseconds")"
        kill -KILL "$program" 2>/dev/null || true
        status=0
        wait "$program" 2>/dev/null || status=$?
        [ "$status" = 0 ] || [ "$status" = 137 ] || complain "installing ends with $status after $milliseconds ms"
        expect 0 uninstall
        ended=$((ended + (status != 0)))
        if grep -q interrupted "$machine/answer.txt"; then
            midway=$((midway + 1))
            nothing_left "ended by force after $milliseconds ms"
        fi
    done
    nothing_left "ended by force $ended times"
    say "machine: installing ended by force $ended times, from its start on, $midway of them while it changed something"
}

# check_machine PACKAGE: the folder with the unpacked package.
check_machine() {
    local complaints=0 device
    machine=$root/build/machine
    say "a machine with a dozen kinds of devices: installing, attaching, taking off"
    rm -rf "$machine"
    mkdir -p "$machine"
    : >"$machine/said.txt"
    cp -r "$1" "$machine/package"
    cp "$root/build/windows/bin/tovix-previous-effect.dll" "$machine/"
    { printf '\xff\xfe'; sed "s|@PREVIOUS_EFFECT@|$(windows_path "$machine/tovix-previous-effect.dll" | sed 's|\\|\\\\\\\\|g')|" \
        "$root/tests/machine/devices.reg" | iconv -f UTF-8 -t UTF-16LE; } >"$machine/devices.reg"
    in_machine regedit /S "$(windows_path "$machine/devices.reg")"
    # Wine's own list of devices makes an empty key of its own (Audio\Capture) when it is first asked.
    expect 0 devices
    machine_state >"$machine/before.txt"

    expect 19 attach --all
    expect 0 install --allow-unsigned
    machine_state >"$machine/installed.txt"
    expect 12 attach --all # one of them is of a foreign type: none is attached
    expect 0 attach --dry-run 'Single rows'
    machine_state | cmp -s - "$machine/installed.txt" || complain "a dry run or a refusal changes something"
    for device in 1 2 3 4 5 6 7 8 9 12; do
        expect 0 attach "$(printf '{00000000-0000-4000-8000-%012d}' "$device")"
    done
    expect 17 attach Speakers
    expect 0 attach 'Speakers (Card C)'
    expect 0 attach 'speakers (card d)'
    expect 12 attach 'Foreign type'
    expect 16 attach 'Nothing of that name'
    machine_state >"$machine/attached.txt"
    expect 0 attach 'Single rows'
    machine_state | cmp -s - "$machine/attached.txt" || complain "attaching twice changes something"
    expect 0 devices
    expect 0 repair
    machine_state | cmp -s - "$machine/attached.txt" || complain "there is nothing to repair, and yet something changes"

    render_in_machine --demo --quiet --registered --set "#Boost:" "$(windows_path "$machine/alone.wav")"
    render_in_machine --demo --quiet --registered --previous-effect "$halving_class" --set "#Boost:" \
        "$(windows_path "$machine/behind.wav")"
    half_as_loud "$machine/alone.wav" "$machine/behind.wav" || complain "the previous effect is not heard"

    expect 0 detach 'Composite lists'
    expect 0 detach --all
    machine_state | cmp -s - "$machine/installed.txt" || complain "after detaching the machine is not as it was before attaching"
    # As a new user has it, at a moment when nothing plays.
    SECONDS=0
    expect 0 install --allow-unsigned
    expect 0 attach 'Legacy rows'
    expect 0 boost 6 --limit
    expect 0 autostart on
    say "machine: four commands from the unpacked package to settings that stay: $SECONDS s"
    in_machine "$machine/package/tovixctl.exe" status | grep -q 'Boost: 60 dB 1 .*boost of 6.0 dB' || complain "the boost is not kept"
    expect 0 uninstall
    expect 0 keep --stop
    rm -r "$machine"/prefix/drive_c/users/*/AppData/Roaming/Tovix || complain "no settings were written down"
    expect 0 uninstall
    machine_state >"$machine/after.txt"
    diff "$machine/before.txt" "$machine/after.txt" >"$machine/left.txt" || complain "the machine is not as it was (build/machine/left.txt)"
    check_ended_by_force
    if [ "$complaints" = 0 ]; then
        count_result 1 0
    else
        tail -n 40 "$machine/said.txt"
        count_result 0 1
    fi
}

# check_links FOLDER: what its documents link to is there.
check_links() {
    local document target bad=0
    while IFS=: read -r document target; do
        [ -e "$(dirname "$document")/$target" ] || { say "$document: there is no $target" && bad=1; }
    done < <(cd "$1" && find . -name '*.md' -exec grep -oHE '\]\([^):]*\)' {} + | sed 's/](\(.*\))$/\1/' | sed "s|^\./|$1|")
    count_result $((1 - bad)) $bad
}

# What scripts/package makes: the same twice, whole, and enough for the way onto a machine and off it.
check_package() {
    local archive log=$root/build/package.log
    say "the package"
    if ! "$root/scripts/package" >"$log" 2>&1 </dev/null; then
        tail -n 20 "$log"
        count_result 0 1
        return
    fi
    archive=$(sed -n 's/^== \(out\/.*\.zip\), .*/\1/p' "$log")
    rm -rf "$root/build/unpacked"
    mkdir -p "$root/build/unpacked"
    if unzip -q "$root/$archive" -d "$root/build/unpacked" && (cd "$root/build/unpacked"/*/ && sha256sum --quiet -c SHA256SUMS) &&
        cp "$root/$archive" "$root/build/package-before.zip" &&
        rm -f "$root"/build/windows/bin/{Tovix64.dll,tovixctl.exe,tovix-render.exe,logger/Logger64.dll} && # linked again
        "$root/scripts/package" >"$log" 2>&1 </dev/null &&
        cmp "$root/$archive" "$root/build/package-before.zip"; then
        count_result 1 0
    else
        count_result 0 1
    fi
    check_links "$root/build/unpacked"/*/
    check_machine "$root/build/unpacked"/*/
}
