# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of penmarkctl for bash.

_penmarkctl()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="status documents new import open write cat discard save history export verify"
    local command="" operands=0 word i
    local -a library=()
    COMPREPLY=()

    # "--option=value" comes as three words.
    if [[ $cur == "=" ]]; then
        cur=""
    elif [[ $prev == "=" ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        case $word in
            --library | --title | --language | --parent | --revision | --limit | --offset)
                [[ ${COMP_WORDS[i + 1]} == "=" ]] && ((++i))
                ((++i))
                # The words are as they were typed, so quotes and "~" still have to be taken as the shell takes them.
                if [[ $word == --library && $i -lt $COMP_CWORD ]]; then
                    word=${COMP_WORDS[i]//[\"\'\\]/}
                    library=(--library "${word/#\~\//$HOME/}")
                fi
                ;;
            -*) ;;
            *)
                if [[ -z $command ]]; then
                    command=$word
                else
                    ((++operands))
                fi
                ;;
        esac
    done

    case $prev in
        --library)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -d -- "$cur")
            return
            ;;
        --parent | --revision)
            # The document may stand behind the option; then nothing is known of it yet.
            for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
                if [[ $word =~ ^[0-9A-Fa-f][0-9A-Fa-f-]{3,}$ ]]; then
                    mapfile -t COMPREPLY < <(compgen -W "$(penmarkctl "${library[@]}" history "$word" 2>/dev/null | cut -f1)" -- "${cur^^}")
                    return
                fi
            done
            return
            ;;
        --title | --language | --limit | --offset) return ;;
    esac

    if [[ $cur == -* ]]; then
        local options="--library --help"
        case $command in
            "") options+=" --version" ;;
            status) options+=" --json" ;;
            documents) options+=" --json --all" ;;
            new) options+=" --title --language" ;;
            write) options+=" --parent" ;;
            cat) options+=" --revision" ;;
            history) options+=" --json --limit --offset" ;;
            export) options+=" --all" ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi

    case $command in
        "") mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur") ;;
        write | cat | discard | save | history)
            if ((operands == 0)); then
                mapfile -t COMPREPLY < <(compgen -W "$(penmarkctl "${library[@]}" documents 2>/dev/null | cut -f1)" -- "${cur^^}")
            elif [[ $command == write || $command == save ]] && ((operands == 1)); then
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            fi
            ;;
        new | open | import)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            ;;
        export)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -d -- "$cur")
            ;;
    esac
}
complete -F _penmarkctl penmarkctl
