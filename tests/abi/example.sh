#!/bin/sh
# Runs an example of a host and holds what it prints against examples/output.txt. Arguments: the folder of the examples,
# that of the library, then the command.
examples=$1
export LD_LIBRARY_PATH="$2"
shift 2
out=$("$@") || exit 1
echo "$out"
[ "$out" = "$(cat "$examples/output.txt")" ]
