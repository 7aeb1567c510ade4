#!/usr/bin/env bash
# Checks that no folder of host/core includes a header of a folder that comes
# after it in the order below (host/core/README.md says what each owns). A
# header of another folder must be named by its folder ("graph/Node.h"); an
# unqualified name must be the file's own folder or a public header.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
core="$root/host/core"
order=(graph messages commands files plugins builtins)

rank() {
  local i
  for i in "${!order[@]}"; do
    [[ "${order[$i]}" == "$1" ]] && { echo "$i"; return; }
  done
  echo -1
}

bad=0
for dir in "$core"/*/; do
  folder="$(basename "$dir")"
  mine="$(rank "$folder")"
  if [[ "$mine" -lt 0 ]]; then
    echo "host/core/$folder: not in the layer order of scripts/check-layers.sh"
    bad=1
    continue
  fi
  for file in "$dir"*.h "$dir"*.cpp; do
    [[ -e "$file" ]] || continue
    while IFS= read -r line; do
      header="${line#*\"}"
      header="${header%\"*}"
      where="${file#"$root"/}: $header"
      if [[ "$header" == */* ]]; then
        other="$(rank "${header%%/*}")"
        if [[ "$other" -lt 0 || ! -e "$core/$header" ]]; then
          echo "$where: no such core header"
          bad=1
        elif [[ "$other" -gt "$mine" ]]; then
          echo "$where: $folder may not use ${header%%/*}, which comes after it"
          bad=1
        fi
      elif [[ ! -e "$dir$header" && ! -e "$root/host/include/$header" ]]; then
        echo "$where: a header of another folder is named by its folder"
        bad=1
      fi
    done < <(grep -h '^#include "' "$file" || true)
  done
done
if [[ "$bad" -eq 0 ]]; then
  echo "host/core layers: ${order[*]} (each uses only those before it)"
fi
exit "$bad"
