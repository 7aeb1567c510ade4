#!/usr/bin/env bash
# Formats every C++ source and header of the project with the repository's .clang-format.
#   scripts/format.sh           rewrite files in place
#   scripts/format.sh --check   change nothing; list unformatted files and fail if there are any
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

check=0
case "${1:-}" in
  "") ;;
  --check) check=1 ;;
  *) echo "usage: $0 [--check]" >&2; exit 2 ;;
esac

command -v clang-format >/dev/null 2>&1 || bash scripts/deps.sh

dirs=()
for d in host kernel node plugin hostsh tests bench; do
  [[ -d $d ]] && dirs+=("$d")
done
files=()
if [[ ${#dirs[@]} -gt 0 ]]; then
  mapfile -t files < <(find "${dirs[@]}" -type f \
    \( -name '*.cpp' -o -name '*.cc' -o -name '*.h' -o -name '*.hpp' \) | sort)
fi
if [[ ${#files[@]} -eq 0 ]]; then
  echo "format.sh: no C++ files yet"
  exit 0
fi

if [[ $check -eq 0 ]]; then
  clang-format -i --style=file "${files[@]}"
  exit 0
fi

bad=()
for f in "${files[@]}"; do
  clang-format --style=file --dry-run --Werror "$f" >/dev/null 2>&1 || bad+=("$f")
done
if [[ ${#bad[@]} -gt 0 ]]; then
  echo "format.sh: not formatted (run bash scripts/format.sh):" >&2
  printf '  %s\n' "${bad[@]}" >&2
  exit 1
fi
echo "format.sh: all ${#files[@]} files are formatted"
