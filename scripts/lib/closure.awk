# For every .cpp file among the arguments prints its name and those of the project's files that it includes, directly or
# by way of others, on one line. An include may stand for several files, as each include root is tried: that only makes
# the line longer than it need be. POSIX awk.

BEGIN {
    for (i = 1; i < ARGC; ++i) {
        name = ARGV[i]
        files[name] = 1
        # a/b/c.h is named by b/c.h and c.h too.
        while (sub(/^[^\/]*\//, "", name)) {
            named[name] = named[name] " " ARGV[i]
        }
    }
}

/^[ \t]*#[ \t]*include[ \t]*["<]/ {
    split($0, quoted, /["<>]/)
    includes[FILENAME] = includes[FILENAME] named[quoted[2]]
}

function follow(file,    targets, count, i) {
    if (file in seen) {
        return
    }
    seen[file] = 1
    line = line " " file
    count = split(includes[file], targets, " ")
    for (i = 1; i <= count; ++i) {
        follow(targets[i])
    }
}

END {
    for (file in files) {
        if (file ~ /\.cpp$/) {
            split("", seen)
            line = ""
            follow(file)
            print substr(line, 2)
        }
    }
}
