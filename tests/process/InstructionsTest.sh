# The instructions of a process, which are the same from run to run.
#
# First what loading 40 files of 50 settings, and changing and saving them, adds to them. The bounds
# leave room for other compilers and are those of a build with little optimisation; there a change
# that doubles the work is seen. Then what the tool needs for ten times as many settings: ten times as
# many instructions, and a few more for sorting; work that is square in their number is a hundred.

set -euo pipefail

if [[ -n $T8_SANITIZE || -n ${T8_I386_SYSROOT-} ]] || ! command -v valgrind >/dev/null; then
    echo "skipped: no valgrind, or a build that it cannot run"
    exit 77
fi

program=$T8_BINARY_DIR/tests/LoadCostProgram
tool=$T8_BINARY_DIR/tools/t8settings/t8settings
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# count COMMAND...
count() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 >/dev/null |
        sed -n 's/.*Collected : //p'
}

# instructions WORK COUNT
instructions() {
    cp -r "$scratch/files" "$scratch/$1$2"
    count "$program" "$1" "$scratch/$1$2" "$2"
}

# check WORK MOST
check() {
    local settings=2000 perSetting
    perSetting=$((($(instructions "$1" 40) - $(instructions "$1" 0)) / settings))
    echo "$1: $perSetting instructions for each setting, at most $2"
    if ((perSetting <= 0 || perSetting > $2)); then failed=true; fi
}

# toolInstructions SETTINGS WORD...
toolInstructions() {
    local base=$scratch/tool$1 settings=$1
    shift
    if [[ ! -d $base ]]; then
        mkdir -p "$base/qel-default-settings" "$base/settings"
        seq -f "k%.0f = int,1" 1000001 "$((1000000 + settings))" |
            sed '1i #name = many' >"$base/qel-default-settings/many.ini"
    fi
    T8SETTINGS_BASE=$base T8SETTINGS_MARKER=$base/marker count "$tool" "$@"
}

# checkTool WORD...
checkTool() {
    local one few many
    one=$(toolInstructions 1 "$@")
    few=$(($(toolInstructions 500 "$@") - one))
    many=$(($(toolInstructions 5000 "$@") - one))
    echo "$*: $few instructions for 500 settings, $many for 5000"
    if ((few < 100000 || many > 13 * few)); then failed=true; fi
}

failed=false
mkdir "$scratch/files"
"$program" make "$scratch/files"
check load 8000
check save 11000
checkTool list
checkTool list --origin
checkTool get many/k1000001
! $failed
