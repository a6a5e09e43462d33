#!/usr/bin/env bash
# bash_completion.sh PROGRAM...: the completion for bash, in bash (PROGRAM... runs travikctl).
set -euo pipefail
program=("$@")

travikctl()
{
    "${program[@]}" "$@"
}

# expect LINE WORDS: what bash offers at the end of the line.
expect()
{
    COMP_LINE=$1 COMP_POINT=${#1}
    _travikctl
    [ "${COMPREPLY[*]}" = "$2" ] || { echo "at '$1': '${COMPREPLY[*]}', not '$2'"; exit 1; }
}

eval "$(travikctl completion bash | tr -d '\r')"
complete -p travikctl | grep -q -- '-F _travikctl'
expect "travikctl nat " "add remove list"
expect "travikctl nat add m r --protocol t" "tcp"
expect "travikctl nothing " ""
echo "bash completes verbs and values"
