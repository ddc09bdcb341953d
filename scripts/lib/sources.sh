# The project's own C++ files. Source it after common.sh.

# own_files: their names from the project's root, NUL-separated: those of the working copy that git knows or could be
# told of, or those of the folders where git knows nothing.
own_files() (
    cd "$root"
    {
        git ls-files -z --cached --others --exclude-standard '*.cpp' '*.h' '*.inl' 2>/dev/null ||
            find src tests tools bench fuzz \( -name '*.cpp' -o -name '*.h' -o -name '*.inl' \) -print0
    } | xargs -0 sh -c 'for file; do [ ! -e "$file" ] || printf "%s\0" "$file"; done' sh
)
