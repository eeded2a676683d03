# Completion of zam for bash.
_zam() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    local commands="run join view serve check graph modules info schema help"
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word")
        return
    fi
    case $before in
        --output-dir) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
        --log | -o | --save-network) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
        --set | --write | --loop | --part | --fail-allocation | --variable | --component | --vector | --step | --range | --opacity | \
            --turn | --zoom | --size | --perspective | --port | --bind) return ;;
        --preset) mapfile -t COMPREPLY < <(compgen -W "gray bone heat rainbow viridis" -- "$word"); return ;;
    esac
    local words=--help
    case $command in
        run) words="--set --write --log --output-dir --loop --part --resume --fail-allocation --strict --quiet --help" ;;
        join) words="--set --output-dir --keep-frames --quiet --help" ;;
        view)
            words="-o --variable --component --vector --step --range --preset --opacity --turn --zoom --size --perspective
                --plain --save-network --help"
            ;;
        serve) words="--port --bind --no-open --help" ;;
        check) words="--strict --help" ;;
        graph) words="-o --help" ;;
        modules)
            words="--json --help"
            [[ $word == -* ]] || words=$("${COMP_WORDS[0]}" modules 2>/dev/null | cut -d ' ' -f 1)
            ;;
        help) words=$commands ;;
    esac
    if [[ $word == -* || $command == modules || $command == help ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -o filenames -F _zam zam
