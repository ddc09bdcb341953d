# Checks that a Windows program's output ends with the program and not with Wine's session, which outlives it: whoever
# reads it would wait for a minute. Source it after builds.sh; the Windows build is there.

promptness_limit=10 # seconds
session_stamp=$root/build/windows/wine/session

# expect_promptness COMMAND...: runs tovixctl's status by it into a pipe, to which further descriptors lead too.
expect_promptness() {
    local log=$root/build/promptness.log start=$SECONDS
    if timeout "$promptness_limit" bash -c '"$@" 2>&1 3>&1 4>&1 11>&1 | cat' bash "$@" status >"$log" </dev/null &&
        grep -q '^Settings:' "$log"; then
        count_result 1 0
    else
        say "$1 failed or took longer than $promptness_limit s: $((SECONDS - start)) s (log: build/promptness.log)"
        count_result 0 1
    fi
}

# Without a prefix, where the build has failed, there is nothing to prolong.
age_session() {
    [ ! -e "$session_stamp" ] || touch -d '-40 seconds' "$session_stamp"
}

# Every call comes at a moment at which run-wine prolongs the session; the stamp says when it did so before.
check_promptness() {
    say "Wine's session is prolonged: reading a program's output"
    age_session
    expect_promptness "$root/scripts/control"
    age_session
    expect_promptness "$root/cmake/run-wine" "${session_stamp%/*}" "$root/build/windows/bin/tovixctl.exe"
}

# After a pause, in which the session may have ended; what is left of half a minute is waited for.
check_promptness_after_pause() {
    local age=$(($(date +%s) - $(stat -c %Y "$session_stamp" 2>/dev/null || echo 0)))
    say "Wine's session after $age s: reading a program's output"
    [ "$age" -gt 31 ] || sleep $((32 - age))
    expect_promptness "$root/scripts/control"
}
