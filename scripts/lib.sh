# Functions that the scripts share. Source this file; it changes the current folder to the repository's root.

set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

# say TEXT…: prints one highlighted line.
say()
{
    if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then
        printf '\033[1m== %s\033[0m\n' "$*"
    else
        printf '== %s\n' "$*"
    fi
}

# die TEXT…: prints an error on standard error and exits with 1.
die()
{
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# sources: prints the tracked and the new C++ files, one a line.
sources()
{
    git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' | while IFS= read -r file; do
        if [ -e "$file" ]; then
            printf '%s\n' "$file"
        fi
    done
}

# configure PRESET: runs CMake the first time and after a change of the presets. Ninja detects changes of CMakeLists.txt.
configure()
{
    if [ ! -f "build/$1/build.ninja" ] || [ CMakePresets.json -nt "build/$1/build.ninja" ]; then
        cmake --preset "$1"
    fi
}
