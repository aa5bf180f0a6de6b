# Clients and the library are built apart from each other and meet in the virtual tables, so the
# operations must keep their order. tests/data/vtables holds it: one operation per line, "~" for the
# destructor, and "further base N" before the part of the table that is the Nth further base's.
set -euo pipefail

case $("$CXX" --version) in
    *clang*)
        echo "SKIPPED: only g++ gives an account of its virtual tables"
        exit 77
        ;;
esac

here=$T8_SOURCE_DIR/tests
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
read -ra flags <<<"$T8_CXX_FLAGS"
"$CXX" "${flags[@]}" -std=c++17 -fsyntax-only -I"$T8_SOURCE_DIR/include" \
    -fdump-lang-class="$work/classes" "$here/vtables/Probes.cpp"

# A part begins with the distance to the top of the object and the type's description. Destructors
# have two entries. Entries that first correct the object's address are known by mangled names only.
operations_of() {
    awk -v class="$1" '
        $0 == "Vtable for " class { inside = 1; next }
        inside && $0 == "" { exit }
        inside && /^[0-9]+ / { sub(/^[0-9]+ +\(int \(\*\)\(\.\.\.\)\)/, ""); print }
    ' "$work/classes" |
        sed -E 's/.*::(_ZTh)/\1/' | c++filt | sed -E 's/^(non-virtual thunk to [^(]*)\(.*/\1/' |
        awk '
            /^-?[0-9]+$/ { if (parts++) print "further base " parts - 1; next }
            /_ZTI|typeinfo/ { next }
            { sub(/.*::/, "") }
            /^~/ { if (!second) print "~"; second = !second; next }
            { print }
        '
}

failed=0
compared=0
for list in "$here"/data/vtables/*.txt; do
    name=$(basename "$list" .txt)
    case $name in
        SettingStorageInterface) class=InterfaceProbe ;;
        SettingStorageBase) class=BaseProbe ;;
        SettingStorageFileBase) class=FileBaseProbe ;;
        *) class=Qel::Settings::$name ;;
    esac
    if ! diff -u --label "$name, wanted" --label "$name, compiled" "$list" \
        <(operations_of "$class"); then
        failed=1
    fi
    compared=$((compared + 1))
done
[[ $compared -eq 7 ]] || {
    echo "$compared tables compared instead of 7"
    exit 1
}
exit $failed
