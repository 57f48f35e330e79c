# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of penmark for bash.

_penmark()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} word
    COMPREPLY=()

    # "--option=value" comes as three words.
    if [[ $cur == "=" ]]; then
        cur=""
    elif [[ $prev == "=" ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    case $prev in
        --library)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -d -- "$cur")
            return
            ;;
        --stdin-title) return ;;
    esac

    # Behind "--" everything is a file.
    local only_files=""
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -- ]] && only_files=yes
    done
    if [[ $cur == -* && -z $only_files ]]; then
        local options="--wait --new-window --new-draft --stdin-title --no-restore --library --check-library --help --version"
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}
complete -F _penmark penmark
