# Builds and runs the Windows programs under Wine. Source it after common.sh and builds.sh.

# What these scripts themselves say goes to the error stream, so that a program keeps the output to itself.
exec 3>&1 1>&2

# unix_lines: a filter that ignores Ctrl-C, so that the program before it can handle it.
unix_lines() {
    trap '' INT
    exec sed -u 's/\r$//'
}

# provide_windows_programs TARGET...
provide_windows_programs() {
    "$root/scripts/setup" --windows
    configure_and_build windows "$@"
}

# run_windows_program NAME [ARGUMENT...]: runs it with its output on descriptor 3. On a terminal of its own Wine would
# draw a console over the screen; behind pipes it leaves the lines as they are.
run_windows_program() {
    local runner=("$root/cmake/run-wine" "$root/build/windows/wine") program=$root/build/windows/bin/$1.exe
    { "${runner[@]}" "$program" "${@:2}" 2>&1 1>&4 </dev/null | unix_lines >&2; } 4>&1 | unix_lines >&3
}
