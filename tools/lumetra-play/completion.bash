# Completion of lumetra-play's command line, from what its --help says.

_lumetra_play() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --format) mapfile -t COMPREPLY < <(compgen -W "auto rgb bgr bgra yuyv gray8" -- "$cur") ;;
        --module-path | --writable | --save-jpeg) _filedir -d ;;
        --sheet) _filedir png ;;
        -m | --module | --watch)
            local folder modules
            folder=$(dirname "$(type -p "$1")")/@modules_from_program@
            modules=$(cd "$folder" 2> /dev/null && printf '%s\n' *.framework)
            mapfile -t COMPREPLY < <(compgen -W "${modules//.framework/}" -- "$cur")
            ;;
        --start | --seconds | --frames | --view-name | \
            --fps | --raw | --size | --flags | -f | --input-format | -c | --command) ;;
        *)
            if [[ $split != true && $cur == -* ]]; then
                mapfile -t COMPREPLY < <(compgen -W "$(_parse_help "$1")" -- "$cur")
            else
                _filedir
            fi
            ;;
    esac
} && complete -F _lumetra_play lumetra-play
