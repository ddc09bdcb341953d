# Prints what the code of the real-time section reaches outside it and the list does not allow: whatever it calls, jumps
# to or takes the address of, in the library and in others. Fails where there is such a thing, where the section is
# empty, and where the list allows what is not there. Names are the linker's.
#   awk -f realtime-section.awk LIST SYMBOLS DISASSEMBLY
# SYMBOLS: nm -n of the library's symbols. DISASSEMBLY: objdump -d -j RT_CODE of the library. Where the pointers of
# filters, kernels and previous effects lead, no listing shows: the tests watch that while blocks are processed.

function padded(hex) {
    sub(/^0x/, "", hex)
    return substr("0000000000000000" hex, length(hex) + 1)
}

FILENAME == ARGV[1] {
    sub(/ *#.*/, "")
    if ($0 != "") {
        allowed[$0] = 1
    }
    next
}

# Code, entries of the import table, and the variables through which the compiler reaches what another file may hold.
FILENAME == ARGV[2] {
    name = $3
    sub(/^(__imp_|\.refptr\.)/, "", name)
    if ($2 ~ /^[tTI]$/ && name !~ /^\./ && name != "RT_CODE" || $3 ~ /^\.refptr\./) {
        symbol[$1] = name
    }
    next
}

/^ *[0-9a-f]+:\t/ {
    address = padded(substr($1, 1, length($1) - 1))
    if (first == "") {
        first = address
    }
    last = address
    jumps = match($0, /[ \t](call|jmp|j[a-z]+) +[0-9a-fx]+/)
    # The address that the instruction names beside its operands counts before the one in them.
    if (match($0, /# (0x)?[0-9a-f]+/) || jumps && match($0, /[ \t](call|jmp|j[a-z]+) +(0x)?[0-9a-f]+/)) {
        target = substr($0, RSTART, RLENGTH)
        sub(/.* /, "", target)
    } else {
        next
    }
    targets[padded(target)] = jumps || targets[padded(target)]
}

END {
    failed = first == ""
    if (failed) {
        print "there is no code in the section"
    }
    for (target in targets) {
        name = target in symbol ? symbol[target] : targets[target] ? "an address without a name, " target : ""
        if (name == "" || target >= first && target <= last) {
            continue
        }
        used[name] = 1
        if (!(name in allowed)) {
            print "reaches " name
            failed = 1
        }
    }
    for (name in allowed) {
        if (!(name in used)) {
            print "does not reach " name
            failed = 1
        }
    }
    exit failed
}
