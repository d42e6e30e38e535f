# Shared by the scripts: sourced, never run. Leaves the caller in the repository's root.

set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

# say TEXT…: one line that stands out between tool output.
say()
{
    if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then
        printf '\033[1m== %s\033[0m\n' "$*"
    else
        printf '== %s\n' "$*"
    fi
}

# die TEXT…: says on standard error what went wrong and ends the script.
die()
{
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# sources: the tracked and the new C++ files, one a line.
sources()
{
    git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' | while IFS= read -r file; do
        if [ -e "$file" ]; then
            printf '%s\n' "$file"
        fi
    done
}

# configure PRESET: once, and again when the preset changed. Ninja itself notices a changed CMakeLists.txt.
configure()
{
    if [ ! -f "build/$1/build.ninja" ] || [ CMakePresets.json -nt "build/$1/build.ninja" ]; then
        cmake --preset "$1"
    fi
}
