# Holds the includes of src/ and tools/ against the two tables in ARCHITECTURE.md. Prints a line for each include that
# breaks its rule, for each folder that only one of the two knows, and for each step of a circle of pairs that is made of
# allowed includes. POSIX awk.
#   awk -f layers.awk ARCHITECTURE.md FILE...      with the files named from the project's root

BEGIN {
    for (i = 2; i < ARGC; ++i) {
        exists[ARGV[i]] = 1
    }
}

function complain(sentence) {
    print sentence
    bad = 1
}

# The layer with the longest folder that FILE lies in, as tools/render/ lies in tools/.
function layer_of(file,    layer, best, longest) {
    longest = 0
    for (layer in place) {
        if (index(file, place[layer]) == 1 && length(place[layer]) > longest) {
            best = layer
            longest = length(place[layer])
        }
    }
    return best
}

# The include root that FILE lies in: the shortest such folder.
function root_of(file,    layer, best) {
    best = file
    for (layer in place) {
        if (index(file, place[layer]) == 1 && length(place[layer]) < length(best)) {
            best = place[layer]
        }
    }
    return best
}

function folder_of(file) {
    sub(/[^\/]*$/, "", file)
    return file
}

# A header and its source are one.
function pair_of(file) {
    sub(/\.(h|cpp)$/, "", file)
    return file
}

# The file that LAYER's include of NAME finds: in its own include root, or in those of the layers that it may use.
function resolve(layer, name,    visible, count, i, file) {
    count = split(layer " " uses_layers[layer], visible, " ")
    for (i = 1; i <= count; ++i) {
        file = root_of(place[visible[i]]) name
        if (file in exists && index(" " layer " " uses_layers[layer] " ", " " layer_of(file) " ")) {
            return file
        }
    }
    return ""
}

FILENAME == ARGV[1] {
    gsub(/`/, "")
    split($0, cell, / *\| */)
    if (/^\| [a-z]+ \| (src|tools)\/[a-z\/]* \|/) { # | shell | src/shell/ | core |
        place[cell[2]] = cell[3]
        gsub(/,/, "", cell[4])
        uses_layers[cell[2]] = cell[4]
    } else if (/^\| [a-z]+ \| [0-9]+ \| [a-z\/]+ \|/) { # | core | 1 | text | what is in it |
        folder = root_of(place[cell[2]]) cell[4] "/"
        floor[folder] = cell[3] + 0
    }
    next
}

FNR == 1 {
    layer = layer_of(FILENAME)
    folder = folder_of(FILENAME)
    holds_source[folder] = 1
    pairs[pair_of(FILENAME)] = 1
}

/^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, quoted, "\"")
    target = resolve(layer, quoted[2])
    if (target == "") {
        complain(FILENAME ":" FNR ": the layer " layer " may not use \"" quoted[2] "\", or there is no such file")
        next
    }
    other = folder_of(target)
    if (other != folder && layer_of(target) == layer && floor[other] >= floor[folder]) {
        complain(FILENAME ":" FNR ": " folder " may not use " other)
        next
    }
    if (pair_of(target) != pair_of(FILENAME)) {
        includes[pair_of(FILENAME), pair_of(target)] = 1
    }
}

# Leaves in `pairs` those that lie on a circle, or on a way from one circle to another.
function keep_circles(    changed, edge, ends, leads_on, is_reached, pair) {
    do {
        changed = 0
        split("", leads_on)
        split("", is_reached)
        for (edge in includes) {
            split(edge, ends, SUBSEP)
            if (ends[1] in pairs && ends[2] in pairs) {
                leads_on[ends[1]] = 1
                is_reached[ends[2]] = 1
            }
        }
        for (pair in pairs) {
            if (!(pair in leads_on && pair in is_reached)) {
                delete pairs[pair]
                changed = 1
            }
        }
    } while (changed)
}

END {
    for (folder in holds_source) {
        if (!(folder in floor)) {
            complain(folder " is not in the table of ARCHITECTURE.md")
        }
    }
    for (folder in floor) {
        if (!(folder in holds_source)) {
            complain(folder " is in the table of ARCHITECTURE.md and holds no source")
        }
    }
    keep_circles()
    for (edge in includes) {
        split(edge, ends, SUBSEP)
        if (ends[1] in pairs && ends[2] in pairs) {
            complain("in a circle: " ends[1] " includes " ends[2])
        }
    }
    exit bad
}
