# What loading 40 files of 50 settings, and changing and saving them, adds to the instructions of a
# process, which are the same from run to run. The bounds leave room for other compilers and are those
# of a build with little optimisation; there a change that doubles the work is seen.

set -euo pipefail

if [[ -n $T8_SANITIZE || -n ${T8_I386_SYSROOT-} ]] || ! command -v valgrind >/dev/null; then
    echo "skipped: no valgrind, or a build that it cannot run"
    exit 77
fi

program=$T8_BINARY_DIR/tests/LoadCostProgram
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# instructions WORK COUNT
instructions() {
    cp -r "$scratch/files" "$scratch/$1$2"
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$program" "$1" "$scratch/$1$2" "$2" 2>&1 |
        sed -n 's/.*Collected : //p'
}

# check WORK MOST
check() {
    local settings=2000 perSetting
    perSetting=$((($(instructions "$1" 40) - $(instructions "$1" 0)) / settings))
    echo "$1: $perSetting instructions for each setting, at most $2"
    if ((perSetting <= 0 || perSetting > $2)); then failed=true; fi
}

failed=false
mkdir "$scratch/files"
"$program" make "$scratch/files"
check load 8000
check save 11000
! $failed
