#!/usr/bin/env bash
# Makes the sphere job (examples/sphere) on a mesh of about one million unknowns, with its decks
# beside it, in a folder given as argument: tools/make_bench_mesh.sh folder [refine].
# The folder is a scratch folder (scratch/ is git-ignored): the mesh is about 45 MB and is never
# committed. refine is the -setnumber of sphere.geo, each unit halving the element size; the
# default 2 gives about 165k nodes, 970k tetrahedra and 1.1 million unknowns.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
if [ $# -lt 1 ]; then
  echo "usage: tools/make_bench_mesh.sh folder [refine]   (for example scratch/bench)" >&2
  exit 2
fi
folder="$1"
refine="${2:-2}"
if ! command -v gmsh >/dev/null; then
  echo "gmsh is needed to make the mesh (Debian package gmsh)." >&2
  exit 1
fi

mkdir -p "$folder"
cp "$root/examples/sphere/input" "$root/examples/sphere/input_mu1" "$folder/"
echo "Meshing examples/sphere/sphere.geo with refine $refine into $folder/pre_geom.nas (log in gmsh.log)"
start=$(date +%s)
gmsh "$root/examples/sphere/sphere.geo" -setnumber refine "$refine" -3 -format bdf \
  -o "$folder/pre_geom.nas" >"$folder/gmsh.log" 2>&1
end=$(date +%s)
nodes=$(grep -c '^GRID' "$folder/pre_geom.nas")
tets=$(grep -c '^CTETRA' "$folder/pre_geom.nas")
echo "Gmsh took $((end - start)) s: $nodes nodes, $tets tetrahedra."
echo "Run it with: (cd $folder && $root/build/src/TesmoraBatch)"
