#!/usr/bin/env bash
# record.sh <document> <what> <file>: puts the file between the document's marks "<!-- what" and "<!-- end of what".
set -euo pipefail

document=$1
what=$2
file=$3
if ! grep -q "^<!-- $what" "$document" || ! grep -q "^<!-- end of $what" "$document"; then
    echo "${document##*/} has no place for $what" >&2
    exit 1
fi
changed=$(mktemp)
trap 'rm -f "$changed"' EXIT
awk -v what="$what" 'FNR == NR { text = text $0 "\n"; next }
     index($0, "<!-- end of " what) == 1 { hidden = 0 }
     !hidden { print }
     index($0, "<!-- " what) == 1 { printf "%s", text; hidden = 1 }' "$file" "$document" >"$changed"
cat "$changed" >"$document"
echo "recorded in ${document##*/}: $what"
