#!/bin/sh
# A page may name only what exists: the files that it links to, and the tests that it names.
set -eu
cd "$(dirname "$0")/../.."
failed=0
complain() {
    echo "$1" >&2
    failed=1
}

pages=$(find . -name '*.md' -not -path './build*' -not -path './.git/*')
for page in $pages; do
    folder=$(dirname "$page")
    for target in $(awk '/^```/ { code = !code } !code' "$page" | grep -o ']([^)]*)' |
        sed 's/^](//; s/)$//; s/#.*//' | grep -v '^[a-z]*:' || true); do
        [ -e "$folder/$target" ] || complain "$page: no such file: $target"
    done
done

# In code font, a name with a dot inside is a test.
for test in $(grep -oE '`[A-Z][A-Za-z0-9]*\.[A-Z][A-Za-z0-9_]*`' docs/decisions.md | tr -d '`' | sort -u); do
    cat tests/*/*.cpp | tr -d '\n' | grep -qE "TEST(_F|_P)?\(${test%.*}, *${test#*.}\)" ||
        complain "docs/decisions.md: no such test: $test"
done
exit $failed
