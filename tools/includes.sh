#!/usr/bin/env bash
# Prints the include graph of the program's folders and checks that it
# only points downward:
#   platform, core  <  color, geometry  <  input, output  <  commands  <  app  <  console, shell
# A folder may include its own layer or any lower one. Reports every
# include from a lower layer into a higher one and every cycle, between
# files and between folders; exits 1 when there is any.
#
#   tools/includes.sh        the graph between folders
#   tools/includes.sh -f     the graph between files as well
#
# Needs only bash, grep, sed, awk and coreutils.
set -euo pipefail

cd "$(dirname "$0")/.."
ShowFiles=0
[ "${1:-}" = "-f" ] && ShowFiles=1

declare -A Rank=( [platform]=0 [core]=0 [color]=1 [geometry]=1 [input]=2 [output]=2
                  [commands]=3 [app]=4 [console]=5 [shell]=5 )
Folders=(platform core color geometry input output commands app console shell)

# One line per include: "<file> <included file>", both relative to the top.
# Names are resolved next to the including file first, then from the top
# (the build puts the top folder on the include path). Headers outside the
# program (system headers in quotes) are left out.
Edges=$(
  for Folder in "${Folders[@]}"; do
    [ -d "$Folder" ] || continue
    for File in "$Folder"/*.h "$Folder"/*.cpp; do
      [ -f "$File" ] || continue
      # Only directives at the start of a line: generated text that holds
      # "#include" inside a string literal is not an include.
      grep -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$File" |
        sed -E 's/^[^"]*"([^"]+)".*/\1/' |
        while read -r Name; do
          Target=$(realpath -m --relative-to=. "$(dirname "$File")/$Name")
          [ -f "$Target" ] || Target=$(realpath -m --relative-to=. "$Name")
          [ -f "$Target" ] && echo "$File $Target"
        done
    done
  done | sort -u
)

FolderEdges=$(echo "$Edges" | awk 'NF == 2 { split($1, a, "/"); split($2, b, "/"); if (a[1] != b[1]) print a[1], b[1] }' |
              sort | uniq -c | awk '{ print $2, $3, $1 }')

echo "Includes between folders (layer, folder -> included folder(number of includes)):"
for Folder in "${Folders[@]}"; do
  [ -d "$Folder" ] || continue
  Line=$(echo "$FolderEdges" | awk -v f="$Folder" '$1 == f { printf " %s(%s)", $2, $3 }')
  printf '  %d %-9s ->%s\n' "${Rank[$Folder]}" "$Folder" "$Line"
done

if [ "$ShowFiles" = 1 ]; then
  echo
  echo "Includes between files:"
  echo "$Edges" | awk 'NF == 2 { if ($1 != f) { if (f != "") printf "\n"; f = $1; printf "  %s ->", f } printf " %s", $2 } END { printf "\n" }'
fi

Status=0
echo
Upward=$(echo "$Edges" | while read -r From To; do
  [ -n "$From" ] || continue
  FromRank=${Rank[${From%%/*}]}
  ToRank=${Rank[${To%%/*}]}
  [ "$ToRank" -gt "$FromRank" ] && echo "  $From -> $To (layer $FromRank includes layer $ToRank)"
done || true)
if [ -n "$Upward" ]; then
  echo "Upward includes:"
  echo "$Upward"
  Status=1
else
  echo "Upward includes: none"
fi

# Groups of nodes that reach each other (strongly connected components,
# Tarjan's method), one line per group of two or more.
Cycles() {
  awk 'NF >= 2 && $1 != $2 {
         if (!($1 in Seen)) { Seen[$1] = 1; Node[++NumNodes] = $1 }
         if (!($2 in Seen)) { Seen[$2] = 1; Node[++NumNodes] = $2 }
         Out[$1, ++NumOut[$1]] = $2
       }
       function Visit(v,   i, w, Line, Size) {
         Index[v] = Low[v] = ++Counter
         Stack[++Top] = v; OnStack[v] = 1
         for (i = 1; i <= NumOut[v]; i++) {
           w = Out[v, i]
           if (!(w in Index)) { Visit(w); if (Low[w] < Low[v]) Low[v] = Low[w] }
           else if (OnStack[w] && Index[w] < Low[v]) Low[v] = Index[w]
         }
         if (Low[v] == Index[v]) {
           Line = ""; Size = 0
           do { w = Stack[Top--]; OnStack[w] = 0; Line = Line == "" ? w : w " " Line; Size++ } while (w != v)
           if (Size > 1) printf "  %d: %s\n", Size, Line
         }
       }
       END { for (i = 1; i <= NumNodes; i++) if (!(Node[i] in Index)) Visit(Node[i]) }'
}
# Between files a header and its source count as one module: core/msg.h
# and core/msg.cpp are "core/msg".
FileCycles=$(echo "$Edges" | sed -E 's/\.(h|cpp)( |$)/\2/g' | Cycles)
FolderCycles=$(echo "$FolderEdges" | Cycles)
if [ -n "$FileCycles$FolderCycles" ]; then
  [ -n "$FileCycles" ]   && { echo "Cycles between modules (header and source together; size: members):";   echo "$FileCycles"; }
  [ -n "$FolderCycles" ] && { echo "Cycles between folders:"; echo "$FolderCycles"; }
  Status=1
else
  echo "Cycles: none"
fi
exit $Status
