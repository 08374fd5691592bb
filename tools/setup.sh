#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build and test Tesmora: the compiler (with its
# OpenMP run time), CMake, GoogleTest, SuiteSparse (for AMD), clang-format, and Gmsh (the tests
# check that Gmsh reads the UNV files Tesmora writes; the benchmark meshes are made by it).
# Installs nothing already there.
set -euo pipefail

packages=(g++ make cmake libgtest-dev libsuitesparse-dev clang-format gmsh)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
