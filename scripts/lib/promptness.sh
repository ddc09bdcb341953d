# Checks that a Windows program's output ends with the program and not with Wine's session, which outlives it: whoever
# reads it would wait for a minute. Source it after builds.sh; the Windows build is there.

# Seconds: well below the minute that the session lasts, and enough beside a load that keeps all processors busy.
promptness_limit=40
promptness_log=$root/build/promptness.log
session_prefix=$root/build/windows/wine

# What a command's output can lead into. Further descriptors of a caller lead into a pipe too.
run_into_pipe() { timeout "$promptness_limit" bash -c '"$@" 2>&1 3>&1 4>&1 11>&1 | cat' bash "$@"; }
run_into_file() { timeout "$promptness_limit" "$@" 2>&1; }
run_into_terminal() { timeout "$promptness_limit" script -qec "$(printf '%q ' "$@")" /dev/null; }

# expect_promptness SINK PATTERN COMMAND...: runs the command into a pipe, a file or a terminal; its output must hold
# the pattern, which stands in its last lines.
expect_promptness() {
    local sink=$1 pattern=$2 start=$SECONDS
    shift 2
    if "run_into_$sink" "$@" >"$promptness_log" </dev/null && grep -q "$pattern" "$promptness_log"; then
        count_result 1 0
    else
        say "$1 failed or took longer than $promptness_limit s into a $sink: $((SECONDS - start)) s (log: build/promptness.log)"
        count_result 0 1
    fi
}

expect_prompt_status() { expect_promptness pipe '^Settings:' "$@" status; }
expect_prompt_rendering() { expect_promptness "$1" 'drew .*levels\.png' "$root/scripts/render"; }

# Lets the next call prolong the session, as after a pause of half a minute: the stamp says when that was done last.
# Without a prefix, where the build has failed, there is nothing to prolong.
age_session() {
    [ ! -e "$session_prefix/session" ] || touch -d '-40 seconds' "$session_prefix/session"
}

# end_session HOW: waits until the session is over, which takes a minute from its last use (-w), or ends it (-k).
end_session() {
    local server=${TOVIX_WINE:-/usr/lib/wine/wine64}
    WINEPREFIX=$session_prefix timeout 120 "${server%/*}/wineserver64" "$1" >/dev/null 2>&1 </dev/null || true
    age_session
}

check_promptness() {
    say "Wine's session is prolonged: reading a program's output"
    age_session
    expect_prompt_status "$root/scripts/control"
    age_session
    expect_prompt_status "$root/cmake/run-wine" "$session_prefix" "$root/build/windows/bin/tovixctl.exe"
    age_session
    expect_prompt_rendering pipe
}

# To be called long after the session's last use, so that there is no end to be waited for.
check_promptness_after_end() {
    say "Wine's session has ended: reading a program's output"
    end_session -w
    expect_prompt_rendering pipe
    local sink
    for sink in file terminal; do
        end_session -k
        expect_prompt_rendering "$sink"
    done
    end_session -k
    expect_prompt_status "$root/scripts/control"
}
