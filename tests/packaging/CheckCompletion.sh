#!/usr/bin/env bash
# Drives vxfw's bash completion as bash would on TAB, against the real tool, and checks what it
# offers: subcommands at each level, options, emulated models for --sim, file names only where
# the argument is a file.
#   CheckCompletion.sh <vxfw> <completion script>
set -uo pipefail
tool=$(realpath "$1")
completion=$(realpath "$2")
source /usr/share/bash-completion/bash_completion || { echo "bash-completion is not installed"; exit 1; }
source "$completion"
PATH=$(dirname "$tool"):$PATH
cd "$(mktemp -d)" || exit 1
trap 'rm -rf "$PWD"' EXIT
touch a.fw b.json
mkdir sub
failures=0

# The candidates offered for the last word of a command line, sorted, on one line.
offered() {
    local line=$1
    read -ra COMP_WORDS <<<"$line"
    [[ $line == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMP_LINE=$line
    COMP_POINT=${#line}
    COMPREPLY=()
    _vxfw vxfw "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | sed '/^$/d' | sort | tr '\n' ' ' | sed 's/ $//'
}

# exactly LINE WORDS...: the completion offers these words and nothing else.
exactly() {
    local line=$1 got want
    shift
    got=$(offered "$line")
    want=$(printf '%s\n' "$@" | sed '/^$/d' | sort | tr '\n' ' ' | sed 's/ $//')
    if [[ $got != "$want" ]]; then
        echo "FAIL '$line': offered [$got], expected [$want]"
        ((failures++))
    fi
}

# including LINE WORDS...: the completion offers at least these words.
including() {
    local line=$1 got word
    shift
    got=" $(offered "$line") "
    for word in "$@"; do
        if [[ $got != *" $word "* ]]; then
            echo "FAIL '$line': [$got] lacks $word"
            ((failures++))
        fi
    done
}

including "vxfw " inspect pack update presets customer-data flash sim
exactly "vxfw fl" flash
exactly "vxfw flash " read write
exactly "vxfw sim " list
exactly "vxfw sim list "
including "vxfw update --" --sim --verbose --help
including "vxfw update -" -v -h --sim
exactly "vxfw update " a.fw b.json sub
exactly "vxfw update a" a.fw
exactly "vxfw update --sim l840 " a.fw b.json sub
exactly "vxfw update --verbose " a.fw b.json sub
exactly "vxfw presets a.fw b.json " a.fw b.json sub
exactly "vxfw inspect --json " a.fw b.json sub
exactly "vxfw pack " a.fw b.json sub
exactly "vxfw pack b.json -o " a.fw b.json sub
exactly "vxfw flash write "
exactly "vxfw flash write 0x200000 " a.fw b.json sub
exactly "vxfw flash read 0x200000 4096 "
exactly "vxfw flash read 0x200000 4096 -o " a.fw b.json sub
exactly "vxfw customer-data read --sim l945se "
including "vxfw update --sim " l840 l945se l5pro miromax openni
including "vxfw update --sim l8" l840 l845se l840-boot
exactly "vxfw update --sim l840,c"
exactly "vxfw update --sim Lum"

if ((failures)); then
    echo "$failures completion check(s) failed"
    exit 1
fi
echo "vxfw completion: subcommands, options, models and file arguments as expected"
