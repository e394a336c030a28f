# Completion of lumetra-inspect's command line, from what its --help says.

_lumetra_inspect() {
    local cur prev words cword
    _init_completion || return
    case $prev in
        --from) _filedir -d ;;
        --only) mapfile -t COMPREPLY < <(compgen -W "$("$1" --list-checks | cut -d' ' -f1)" -- "$cur") ;;
        --timeout | --seed | --config | --jobs) ;;
        *)
            if [[ $cur == -* ]]; then
                mapfile -t COMPREPLY < <(compgen -W "$(_parse_help "$1")" -- "$cur")
            else
                local folder modules
                folder=$(dirname "$(type -p "$1")")/@modules_from_program@
                modules=$(cd "$folder" 2> /dev/null && printf '%s\n' *.framework)
                _filedir
                mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W "${modules//.framework/}" -- "$cur")
            fi
            ;;
    esac
} && complete -F _lumetra_inspect lumetra-inspect
