# The man page is well-formed, and no line of it is wider than a console.
set -euo pipefail

page=$T8_SOURCE_DIR/tools/t8settings/t8settings.1
if ! command -v mandoc >/dev/null; then
    echo "SKIPPED: no mandoc"
    exit 77
fi

mandoc -T lint -W warning "$page"
if mandoc -T ascii -O width=78 "$page" | sed 's/.\x08//g' | expand | grep -E '.{81}'; then
    echo "these lines are too wide"
    exit 1
fi
