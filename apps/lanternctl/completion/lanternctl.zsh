#compdef lanternctl
# zsh completion for lanternctl; made by "lanternctl completion zsh"
_lanternctl() {
    local command='' own='' previous=${words[CURRENT - 1]}
    local -a projector codes groups subcommands
    local -i arguments=0 knows_codes=1 i
    subcommands=(
%DESCRIBED_COMMANDS%
    )
    for ((i = 2; i < CURRENT; i++)); do
        case ${words[i]} in
        (--host|--port)
            projector+=(${words[i]} ${words[i + 1]})
            ((i++))
            ;;
        (--ipc|--serial) # where nobody can be asked for the codes
            knows_codes=0
            ((i++))
            ;;
        (%OPTIONS_WITH_VALUE%)
            ((i++))
            ;;
        (-*) ;;
        (*)
            if [[ -z $command ]]; then
                command=${words[i]}
            else
                ((arguments++))
            fi
            ;;
        esac
    done
    case $previous in
    (--format)
        [[ $command == cep ]] && compadd 1 2 || compadd table codes markdown
        return
        ;;
    (--host)
        _hosts
        return
        ;;
    (--ipc)
        _directories
        return
        ;;
    (--serial)
        _files
        return
        ;;
    (%OPTIONS_WITH_VALUE%)
        return
        ;;
    esac
    case $command in
%OPTIONS_BY_COMMAND%
    esac
    if [[ ${words[CURRENT]} == -* ]]; then
        compadd -- ${=:-%OPTIONS% $own}
        return
    fi
    case $command:$arguments in
    (:0) _describe command subcommands ;;
    (completion:0) compadd bash zsh ;;
    (cep:0) compadd decode encode talk serve ;;
    (cep:1) _files ;;
    (cep:2) compadd get set ;;
    (fav:0) compadd list add remove clear ;;
    (account:0) compadd list add passwd remove ;;
    (status:0)
        ((knows_codes)) || return
        groups=(${(fu)"$(${words[1]} $projector --timeout 500 --json status 2>/dev/null |
            sed -n 's/.*"group":"\([^"]*\)".*/\1/p')"})
        compadd -M 'm:{a-zA-Z}={A-Za-z}' -a groups
        ;;
    (set:0|info:0|list:0|get:*|watch:*|fav:*)
        ((knows_codes)) || return
        # Asked of the projector, which may not be there: not for long, and without a word.
        codes=(${(f)"$(${words[1]} $projector --timeout 500 list --format codes 2>/dev/null)"})
        compadd -M 'm:{a-z}={A-Z}' -a codes
        ;;
    esac
}
if [[ ${zsh_eval_context[-1]} == loadautofunc ]]; then
    _lanternctl "$@"
else
    compdef _lanternctl lanternctl
fi
