#!/bin/sh
# Makes ../data anew. Needs gfortran and python3; the results are committed, so that tests need neither.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
gfortran -std=gnu -Wall -O1 -J "$work" -o "$work/make_fortran" "$here/make_fortran.f90"
(cd "$here/../data" && "$work/make_fortran")
python3 "$here/make_binary.py" "$here/../data"
