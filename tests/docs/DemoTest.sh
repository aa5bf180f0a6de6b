# scripts/demo shows what it says, leaves nothing behind, and the lines that it ends with work when
# they are pasted.
set -euo pipefail

if [[ ! -x $T8_BINARY_DIR/tools/t8settings/t8settings ]]; then
    echo "SKIPPED: the tool is not built here"
    exit 77
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Not the whole machine's disk for the sake of a test.
mkdir "$work/bin" "$work/scratch"
printf '#!/bin/sh\n' >"$work/bin/sync"
chmod +x "$work/bin/sync"
PATH=$work/bin:$PATH

fail() {
    cat "$work/output"
    echo "$1"
    exit 1
}

cd "$work/scratch"
unset QLOG QLOG_TO
TMPDIR=$work/scratch "$T8_SOURCE_DIR/scripts/demo" --build "$T8_BINARY_DIR" >"$work/output" 2>&1 ||
    fail "the demo has failed"
[[ -z $(ls -A "$work/scratch") ]] || fail "the demo has left something behind"

# said COMMAND LINE...: these lines come after the command.
said() {
    local command=$1
    shift
    diff <(grep -m 1 -FxA "$#" -- "\$ $command" "$work/output" | tail -n +2) <(printf '%s\n' "$@") ||
        fail "the demo shows something else for: $command"
}

said 't8settings get settings/sound/bass' -2
said 't8settings reset --all --yes' 'dvr: reset to its defaults' \
    'frontend: kept, it survives a reset' 'media: reset to its defaults'
said 't8settings get settings/general/country' DK
grep -Fqx settings.ini.bad "$work/output" || fail "the damaged file is not set aside"
grep -q "using file 'tv/settings/tuning.ini.tmp'" "$work/output" || fail "the copy is not used"
grep -Fqx 'changed: backlight 50, settings/picture.ini is not there' "$work/output" ||
    fail "the main application has not saved in the background"

sed -n '/^What to try next/,$s/^    //p' "$work/output" | sed "s|/tmp/tv|$work/tv|g" |
    grep -v scripts/demo >"$work/pasted"
[[ $(wc -l <"$work/pasted") -ge 5 ]] || fail "there is nothing to try next"
bash -euo pipefail "$work/pasted" >"$work/output" 2>&1 || fail "a line to paste does not work"
grep -Fqx 'ssid = string,Number 7' "$work/output" || fail "the pasted lines change nothing"
