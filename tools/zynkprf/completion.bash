# Completes the command line of zynkprf. Configurations and values are those of the store.

# Words with blanks or of other bytes stand in quotes there, and are left out.
_zynkprf_configs() {
    zynkprf configs "$@" 2>/dev/null | sed -n 's/^[* ] \([[:alnum:]]*\)$/\1/p'
}

_zynkprf_names() {
    zynkprf list "$@" 2>/dev/null | sed -n 's/^\([[:alnum:]_.-]*\) = .*/\1/p'
}

_zynkprf() {
    local commands='init list get set erase configs create remove use export import'
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' name='' where=() options='--help --version' i
    COMPREPLY=()
    # The shell may have taken "--config=CFG" apart at the sign.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $before == '=' ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --installation | --general | --user) where+=("${COMP_WORDS[i]}") ;;
            --config=*) where+=("${COMP_WORDS[i]}") ;;
            --config | --language | --vrm | --service-level | --components)
                local option=${COMP_WORDS[i]}
                [[ ${COMP_WORDS[i + 1]} == '=' ]] && ((++i))
                ((++i < COMP_CWORD)) && [[ $option == --config ]] && where+=("--config=${COMP_WORDS[i]}")
                ;;
            -* | =) ;;
            *) [[ -z $command ]] && command=${COMP_WORDS[i]} || name=${COMP_WORDS[i]} ;;
        esac
    done
    case $command in
        init) options='--language= --vrm= --service-level= --components=' ;;
        list | get) options='--installation --general --config= --user --show-passwords' ;;
        set) options='--installation --general --config= --user --number --list' ;;
        erase) options='--installation --general --config= --user' ;;
        configs | remove) options='--user' ;;
        export) options='--show-passwords' ;;
    esac
    if [[ $before == --config || $current == --config=* ]]; then
        local prefix=''
        # Where the shell leaves the word whole, so does the answer.
        [[ $current == --config=* ]] && prefix='--config='
        mapfile -t COMPREPLY < <(compgen -P "$prefix" -W "$(_zynkprf_configs)" -- "${current#--config=}")
    elif [[ $before == --language || $before == --vrm || $before == --service-level ||
        $before == --components ]]; then
        return 0 # any text
    elif [[ $current == -* ]]; then
        [[ -z $command ]] && options+=' --installation --general --config= --user --show-passwords'
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace 2>/dev/null
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
    else
        case $command in
            erase) mapfile -t COMPREPLY < <(compgen -W "$(_zynkprf_names "${where[@]}")" -- "$current") ;;
            get | set)
                [[ -z $name ]] &&
                    mapfile -t COMPREPLY < <(compgen -W "$(_zynkprf_names "${where[@]}")" -- "$current")
                ;;
            remove) # of where, --user alone goes with it
                mapfile -t COMPREPLY < <(compgen -W "$(_zynkprf_configs "${where[@]}")" -- "$current")
                ;;
            init | use | export)
                mapfile -t COMPREPLY < <(compgen -W "$(_zynkprf_configs)" -- "$current")
                ;;
            import)
                compopt -o filenames 2>/dev/null # quotes them, and folders get a "/"
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
                ;;
        esac
    fi
    return 0
}

complete -F _zynkprf zynkprf
