# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of penmarkctl for bash.

# Completes "$cur" to the identifiers that a command lists, in its first field or the one whose number is $1, and of the
# library that the command line names.
_penmarkctl_ids()
{
    local field=$1
    shift
    mapfile -t COMPREPLY < <(compgen -W "$(penmarkctl "${library[@]}" "$@" 2>/dev/null | cut -f"$field" | grep -v '^-$')" -- "${cur^^}")
}

_penmarkctl_files()
{
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen "$1" -- "$cur")
}

_penmarkctl()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="status documents new import open write cat discard save history diff restore search export verify sessions session workspaces workspace projects project closed reopen checkpoints checkpoint calendar"
    local session="show new rename close reopen move delete"
    local workspace="show new rename link unlink close reopen remove"
    local project="add remove"
    local checkpoint="show keep restore pin unpin rename delete"
    local command="" first="" operands=0 word i
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
            --library | --title | --language | --parent | --revision | --limit | --offset | --document | --session | --workspace | \
                --project | --checkpoint | --folder | --mode | --field | --type | --path-filter)
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
                elif [[ $command =~ ^(session|workspace|project|checkpoint)$ ]]; then
                    command+=" $word"
                else
                    [[ -z $first ]] && first=$word
                    ((++operands))
                fi
                ;;
        esac
    done

    case $prev in
        --library)
            _penmarkctl_files -d
            return
            ;;
        --parent | --revision)
            if [[ $command == session* ]]; then
                _penmarkctl_ids 1 sessions
                return
            fi
            # The document may stand behind the option; then nothing is known of it yet.
            for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
                if [[ $word =~ ^[0-9A-Fa-f][0-9A-Fa-f-]{3,}$ ]]; then
                    _penmarkctl_ids 1 history "$word"
                    return
                fi
            done
            return
            ;;
        --document)
            _penmarkctl_ids 1 documents
            return
            ;;
        --session | --workspace | --project | --checkpoint)
            _penmarkctl_ids 1 "${prev#--}s"
            return
            ;;
        --folder)
            _penmarkctl_files -d
            return
            ;;
        --mode)
            mapfile -t COMPREPLY < <(compgen -W "literal regex normalized typo" -- "$cur")
            return
            ;;
        --field)
            mapfile -t COMPREPLY < <(compgen -W "contents names both" -- "$cur")
            return
            ;;
        --title | --language | --limit | --offset | --type | --path-filter) return ;;
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
            search) options+=" --all --history --document --session --workspace --project --checkpoint --folder --mode --field --case-sensitive --whole-word --type --path-filter --hidden --no-ignore --large-files --limit --json --report" ;;
            export) options+=" --all" ;;
            sessions) options+=" --json" ;;
            "session new") options+=" --title --parent" ;;
            workspaces) options+=" --json" ;;
            projects) options+=" --json" ;;
            closed) options+=" --json" ;;
            checkpoints) options+=" --json" ;;
            "checkpoint keep") options+=" --document" ;;
            calendar) options+=" --json" ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi

    case $command in
        "") mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur") ;;
        session | workspace | project | checkpoint) mapfile -t COMPREPLY < <(compgen -W "${!command}" -- "$cur") ;;
        write | cat | discard | save | history | diff | restore)
            if ((operands == 0)); then
                _penmarkctl_ids 1 documents
            elif [[ $command == write || $command == save ]] && ((operands == 1)); then
                _penmarkctl_files -f
            elif [[ $command == diff && $operands -lt 3 || $command == restore && $operands -lt 2 ]]; then
                _penmarkctl_ids 1 history "$first"
            fi
            ;;
        new | open | import) _penmarkctl_files -f ;;
        export) _penmarkctl_files -d ;;
        "session new") ;;
        "session move") ((operands < 2)) && _penmarkctl_ids 1 sessions ;;
        session\ *) ((operands == 0)) && _penmarkctl_ids 1 sessions ;;
        "workspace new") ;;
        "workspace link")
            if ((operands == 0)); then
                _penmarkctl_ids 1 workspaces
            else
                _penmarkctl_ids 1 documents
            fi
            ;;
        "workspace unlink")
            if ((operands == 0)); then
                _penmarkctl_ids 1 workspaces
            else
                _penmarkctl_ids 2 workspace show "$first"
            fi
            ;;
        workspace\ *) ((operands == 0)) && _penmarkctl_ids 1 workspaces ;;
        "project add") _penmarkctl_files -d ;;
        "project remove") ((operands == 0)) && _penmarkctl_ids 1 projects ;;
        reopen) ((operands == 0)) && _penmarkctl_ids 1 closed ;;
        "checkpoint keep") ;;
        "checkpoint restore")
            if ((operands == 0)); then
                _penmarkctl_ids 1 checkpoints
            else
                # Of sessions the lines have other fields.
                mapfile -t COMPREPLY < <(compgen -W "$(penmarkctl "${library[@]}" checkpoint show "$first" 2>/dev/null | grep '^document' | cut -f2)" -- "${cur^^}")
            fi
            ;;
        checkpoint\ *) ((operands == 0)) && _penmarkctl_ids 1 checkpoints ;;
    esac
}
complete -F _penmarkctl penmarkctl
