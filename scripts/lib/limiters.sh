# Compares the effect's limiters with those of other programs. Source it after measuring.sh.

limiter_sounds=$root/out/bench/limiters

# ladspa_library NAME: the file of the newest version of a LADSPA library, without its ending.
ladspa_library() {
    local found
    found=$(ls -v /usr/lib/ladspa/"$1"*.so 2>/dev/null | tail -n 1)
    basename "${found:-$1.so}" .so
}

# Folder, title of the column, and ffmpeg's filter for each peer, all with their own defaults and full scale as ceiling.
limiter_peers() {
    local lsp
    lsp="ladspa=f=$(ladspa_library lsp-plugins-ladspa):p=http\\\\://lsp-plug.in/plugins/ladspa/limiter_stereo"
    printf '%s\n' \
        "alimiter5|\`alimiter\`, 5 ms|alimiter=level=false:attack=5" \
        "alimiter15|\`alimiter\`, 15 ms|alimiter=level=false:attack=15" \
        "fast|swh Fast Lookahead|ladspa=f=fast_lookahead_limiter_1913:p=fastLookaheadLimiter" \
        "hard|swh Hard|ladspa=f=hard_limiter_1413:p=hardLimiter" \
        "lsp|LSP Limiter|$lsp" \
        "lspplain|LSP Limiter without level regulation|$lsp:c=c4=0"
}

# play_peer FOLDER FILTER: every sound through it, by ffmpeg; a limiter that is not there leaves no files behind.
play_peer() {
    local name gain
    mkdir -p "$limiter_sounds/$1"
    while read -r name gain; do
        ffmpeg -nostdin -y -loglevel error -i "$limiter_sounds/in/$name.wav" -af "volume=${gain}dB:precision=double,$2" \
            -c:a pcm_f32le "$limiter_sounds/$1/$name.wav" </dev/null || { rm -rf "${limiter_sounds:?}/$1" && return 1; }
    done <"$limiter_sounds/sounds.txt"
}

# compare_limiters: writes out/limiters.md and shows its tables.
compare_limiters() {
    local page=$root/out/limiters.md program=$native_bin/tovix-compare-limiters folder title filter columns=()
    configure_and_build native tovix-compare-limiters
    (install_packages "${limiter_packages[@]}") || say "some of the other limiters are missing"
    rm -rf "$limiter_sounds"
    "$program" write "$limiter_sounds"
    while IFS='|' read -r folder title filter; do
        say "playing $title"
        play_peer "$folder" "$filter" || say "not available: $title"
        columns+=("$folder=$title")
    done < <(limiter_peers)
    describe "$measured/limiters.md" "${limiter_packages[@]}"
    {
        printf '# Limiters side by side\n\n'
        cat "$measured/limiters.md"
        printf '\nThe sounds are raised before each peer by as much as by the effect. The peers have their own defaults, with full\n'
        printf 'scale as the ceiling of all; `alimiter` without its automatic level. THD+N and distortion are what is left beside\n'
        printf 'the tones after 0.1 s.\n\n'
        "$program" measure "$limiter_sounds" "${columns[@]}"
        printf '\nCost in stereo, ns per frame: the median of the blocks, of which each counts in its quickest of 200 rounds.\n'
        printf 'So do the bars: they hold for what a block costs by itself, not for what other programs add to it.\n\n'
        "$program" costs
    } | tee "$page"
    rm -rf "$limiter_sounds"
    say "wrote out/limiters.md"
}
