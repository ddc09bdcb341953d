# Turns what the benchmarks measured into a page of tables, and into the table of a picture. POSIX awk.
#   awk -v picture=TABLE.csv -f bench-report.awk bench/bars.csv FILE...
# The files hold lines as bench/Measurements.h has them. A figure that was measured several times counts as the median of
# its values; the ratio of rounds natively and under Wine as the median of the rounds' own, as a processor's clock may
# differ from round to round more than the sides do.

BEGIN {
    FS = ","
    SUBSEP = ","
    peers = "zita uniform,zita threads,ffmpeg afir,ffmpeg afir parts"
    contestants = "fftw,avx2,avx512," peers
    # What has to be there for the bars over all of them.
    peer_blocks = "64,128,256,512,1024,2048,4096"
    grown_channels = "4,8,16,32,64"
}

FILENAME == ARGV[1] {
    if (FNR > 1) {
        bars[++bar_count] = $0
    }
    next
}

$1 == "engine" {
    best = $4
    is_there[$4] = 1
    next
}

NF == 7 {
    key = $1 SUBSEP $2 SUBSEP $3 SUBSEP $4
    values[key, ++times[key]] = $5 + 0
    kept[key] += $6
    batches[key] += $7
    if ($1 == "cost" && $3 == 2) {
        add_to("blocks", $2)
    } else if ($1 == "smallest gain") {
        where["smallest gain,*," $3 "," $4] = $2 " frames, of " $6 " lengths up to " $7
        set("smallest gain,*," $3 "," $4, $5 + 0)
    }
}

# Lists of numbers in rising order.
function add_to(list, number,    i) {
    for (i = 1; i <= size[list]; ++i) {
        if (item[list, i] == number) {
            return
        }
    }
    for (i = size[list]++; i > 0 && item[list, i] + 0 > number + 0; --i) {
        item[list, i + 1] = item[list, i]
    }
    item[list, i + 1] = number
}

function set(key, value) {
    figure[key] = value
}

function has(key) {
    return key in figure
}

# The median of `count` numbers of a list.
function median(list, count,    i, j, sorted) {
    for (i = 1; i <= count; ++i) {
        for (j = i - 1; j > 0 && sorted[j] > list[i]; --j) {
            sorted[j + 1] = sorted[j]
        }
        sorted[j + 1] = list[i]
    }
    return sorted[int((count + 1) / 2)]
}

function value_of(key,    i, list) {
    for (i = 1; i <= times[key]; ++i) {
        list[i] = values[key, i]
    }
    return median(list, times[key])
}

# Sets the median of the rounds' ratios, where there are any.
function set_round_ratio(key, above, below,    i, list, count) {
    for (i = 1; i <= times[above] && i <= times[below]; ++i) {
        if (values[below, i] > 0) {
            list[++count] = values[above, i] / values[below, i]
        }
    }
    if (count) {
        set(key, median(list, count))
    }
}

# Sets the ratio of two figures and returns 1 where both are there.
function set_ratio(key, above, below) {
    if (has(above) && has(below) && figure[below] > 0) {
        set(key, figure[above] / figure[below])
        return 1
    }
    return 0
}

# The figure where it is there and the number is above 0.
function text_of(key, form) {
    return has(key) && figure[key] > 0 ? sprintf(form, figure[key]) : ""
}

# How far an engine is ahead of a peer where that is least; nothing unless all lengths of block are there.
function derive_peer(peer, engine,    i, count, block, name, key, ratio, least, slowest) {
    count = split(peer_blocks, block, ",")
    name = engine " over " peer
    for (i = 1; i <= count; ++i) {
        key = "ahead," block[i] ",2," name
        if (!set_ratio(key, "cost," block[i] ",2," peer, "cost," block[i] ",2," engine)) {
            return
        }
        ratio = figure[key]
        if (i == 1 || ratio < least) {
            least = ratio
            slowest = block[i]
        }
    }
    set("ahead,*,2," name, least)
    where["ahead,*,2," name] = slowest " frames"
}

# The dearest sample of one channel with more channels than two, over that of stereo; nothing unless all numbers of
# channels are there.
function derive_growth(engine,    i, count, channels, key, ratio, largest, dearest) {
    count = split(grown_channels, channels, ",")
    for (i = 1; i <= count; ++i) {
        key = "grown,480," channels[i] "," engine
        if (!set_ratio(key, "cost,480," channels[i] "," engine, "cost,480,2," engine)) {
            return
        }
        ratio = figure[key]
        if (ratio > largest) {
            largest = ratio
            dearest = channels[i]
        }
    }
    set("growth,480,64," engine, largest)
    where["growth,480,64," engine] = dearest " channels"
}

function derive(    key, part, count, engines, i, peer, peer_count, p) {
    for (key in times) {
        set(key, value_of(key))
    }
    for (key in times) {
        split(key, part, ",")
        if (part[1] == "cost") {
            set_ratio("gain," part[2] "," part[3] "," part[4], "cost," part[2] "," part[3] ",fftw", key)
        } else if (part[1] == "cold") {
            set_ratio("cold gain," part[2] "," part[3] "," part[4], "cold," part[2] "," part[3] ",fftw", key)
        } else if (part[1] ~ /^set-up/) {
            set(part[1] "," part[2] "," part[3] ",in force", figure[key])
            where[part[1] "," part[2] "," part[3] ",in force"] = part[4]
        } else if (part[1] == "Wine filter") {
            set_round_ratio("Wine over native," part[2] "," part[3] "," part[4], key, "native filter," part[2] "," part[3] "," part[4])
        } else if (part[1] == "Wine block") {
            set_round_ratio("library over core," part[2] "," part[3] "," part[4], key, "native block," part[2] "," part[3] "," part[4])
        } else if (part[1] == "filter" && part[3] == 12) {
            set_ratio("12 channels over 8," part[2] ",12," part[4], key, "filter," part[2] ",8," part[4])
            if (has("12 channels over 8," part[2] ",12," part[4])) {
                figure["12 channels over 8," part[2] ",12," part[4]] *= 8 / 12
            }
        }
    }
    count = split("avx2,avx512", engines, ",")
    peer_count = split(peers, peer, ",")
    for (i = 1; i <= count; ++i) {
        derive_growth(engines[i])
        for (p = 1; p <= peer_count; ++p) {
            derive_peer(peer[p], engines[i])
        }
    }
}

function outcome_of(who, key, relation, bar) {
    sub(/ over .*/, "", who)
    if ((who == "avx2" || who == "avx512") && best != "" && !(who in is_there)) {
        return "skipped"
    }
    if (!has(key)) {
        return "not measured"
    }
    if (relation == ">=") {
        return figure[key] >= bar ? "met" : "missed"
    }
    if (relation == ">") {
        return figure[key] > bar ? "met" : "missed"
    }
    return figure[key] <= bar ? "met" : "missed"
}

function print_bars(    i, part, key, outcome, count) {
    print "| What | Frames | Channels | Who | Bar | Measured | Outcome |"
    print "|---|---:|---:|---|---:|---:|---|"
    for (i = 1; i <= bar_count; ++i) {
        split(bars[i], part, ",")
        key = part[1] SUBSEP part[2] SUBSEP part[3] SUBSEP part[4]
        outcome = outcome_of(part[4], key, part[5], part[6])
        ++count[outcome]
        printf "| %s | %s | %s | %s%s | %s %s | %s | %s |\n", part[1], part[2], part[3], part[4],
            (key in where) ? " (" where[key] ")" : "", part[5], part[6], has(key) ? sprintf("%.3g", figure[key]) : "",
            outcome == "missed" ? "**missed**" : outcome
    }
    printf "\n%d met, %d missed, %d skipped because the processor lacks the instructions, %d not measured\n",
        count["met"], count["missed"], count["skipped"], count["not measured"]
}

# The contestants with any figure, and the bound of the fastest engine, as columns.
function print_costs(    i, c, count, name, block, key, line, there, wide) {
    count = split(contestants, name, ",")
    line = "| Frames |"
    wide = "block"
    for (c = 1; c <= count; ++c) {
        for (i = 1; i <= size["blocks"]; ++i) {
            there[c] = there[c] || has("cost," item["blocks", i] ",2," name[c])
        }
        if (there[c]) {
            line = line " " name[c] " |"
            wide = wide "," name[c]
        }
    }
    print line " bound |"
    gsub(/[^|]+/, "---:", line)
    print line "---:|"
    print wide ",bound (" best ")" >picture
    for (i = 1; i <= size["blocks"]; ++i) {
        block = item["blocks", i]
        line = "| " block " |"
        wide = block
        for (c = 1; c <= count; ++c) {
            key = "cost," block ",2," name[c]
            if (there[c]) {
                line = line (has(key) ? sprintf(" %.3g (%d/%d) |", figure[key], kept[key], batches[key]) : " |")
                wide = wide "," figure[key]
            }
        }
        key = "bound," block ",2," best
        print line (has(key) ? sprintf(" %.3g |", figure[key]) : " |")
        print wide "," figure[key] >picture
    }
    close(picture)
}

function print_bounds(    engines, count, e, i, block, key) {
    print "| Engine | Frames | Sums | Transforms | Bytes | Bound | Measured | Reached |"
    print "|---|---:|---:|---:|---:|---:|---:|---:|"
    count = split("avx2,avx512", engines, ",")
    for (e = 1; e <= count; ++e) {
        for (i = 1; i <= size["blocks"]; ++i) {
            block = item["blocks", i]
            key = block ",2," engines[e]
            if (has("bound," key) && has("cost," key)) {
                printf "| %s | %d | %.3g | %.3g | %.3g | %.3g | %.3g | %.0f %% |\n", engines[e], block,
                    figure["bound sums," key], figure["bound transforms," key], figure["bound bytes," key],
                    figure["bound," key], figure["cost," key], 100 * figure["bound," key] / figure["cost," key]
            }
        }
    }
}

# Every figure of these kinds in ns per frame, natively and under Wine; a ratio where both are above 0.
function print_windows(    key, part, rest) {
    print "| What | Channels | Who | Native | Wine | Ratio | Native, with the copy | Wine, with the copy | Ratio |"
    print "|---|---:|---|---:|---:|---:|---:|---:|---:|"
    for (key in times) {
        split(key, part, ",")
        if (part[1] ~ /^Wine (filter|block)$/) {
            rest = "," part[2] "," part[3] "," part[4]
            printf "| %s | %d | %s |%s%s\n", substr(part[1], 6), part[3], part[4],
                sides_of(substr(part[1], 6), rest), sides_of(substr(part[1], 6) " with copy", rest) | "sort"
        }
    }
    close("sort")
}

# The cells of one kind of figure: natively, under Wine, and their ratio.
function sides_of(what, rest,    native, wine) {
    native = "native " what rest
    wine = "Wine " what rest
    set_round_ratio("sides of " what rest, wine, native)
    return " " text_of(native, "%.3g") " | " text_of(wine, "%.3g") " | " text_of("sides of " what rest, "%.2f") " |"
}

END {
    derive()
    print "## Bars\n"
    print "gain: how many times faster than `fftw`, the reference, with its SSE2 kernels; smallest gain: over many block"
    print "lengths; cold gain: with caches that hold nothing. ahead: how many times dearer a peer is than an engine, where that"
    print "is least. flat position: the dearest block of a cycle over the mean, by medians; flat 99 %: what 99 % of"
    print "the blocks stay below, over the median; of seven runs the quietest. set-up: ms. memory: KiB per channel. growth: per"
    print "channel, over stereo. limiter gain: over the limiter frame by frame. filter: ns per frame. change: ms from the"
    print "signal to the return of the block with the first changed sample.\n"
    print_bars()
    print "\n## Cost over block size\n\nStereo, 16384 taps; ns per sample of one channel, and the batches that were kept of all. Of \"zita threads\" and"
    print "\"ffmpeg afir\" the processor time of all threads counts; zita's includes the copies of the sound into and out of"
    print "its buffers. \"zita uniform\" and \"ffmpeg afir\" have partitions of one block each, \"zita threads\" and"
    print "\"ffmpeg afir parts\" ones that grow, to 8192 frames.\n"
    print_costs()
    print "\n![Cost over block size](bench.svg)\n"
    print "## Bound\n\nNs per sample of one channel: what the sums over the partitions and the transforms take at the rate of"
    print "multiply-adds that wait for nothing, and what reading the spectra takes; docs/cost.md says how.\n"
    print_bounds()
    print "\n## Native and Windows\n\nNs per frame, medians of the rounds; the ratios are medians of those within a round. \"filter\" is the core's code in a program of its own, \"block\" the"
    print "whole effect: natively the core, under Wine the library. Each block begins with a copy of the sound into it: a"
    print "filter's by a kernel of our own, a whole block's by the C library. \"Native\" and \"Wine\" are what is left when the"
    print "time of such copies alone is taken off; the bars \"Wine over native\" and \"library over core\" are judged on that."
    print "\"With the copy\" is what was measured.\n"
    print_windows()
}
