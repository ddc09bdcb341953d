# Shared by the commands in scripts/: where things are, and how they speak. Source it; it runs nothing.

set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cache=${XDG_CACHE_HOME:-${HOME:?HOME is not set; set it or XDG_CACHE_HOME}/.cache}/tovix
jobs=$(nproc)

say() {
    printf '== %s\n' "$*"
}

# Ends the command with one plain sentence.
fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# logged LOG SENTENCE COMMAND...: runs the command with its output in LOG; on failure shows the end of it and SENTENCE.
logged() {
    local log=$1 sentence=$2
    shift 2
    "$@" >"$log" 2>&1 </dev/null || {
        tail -n 20 "$log" >&2
        fail "$sentence"
    }
}
