# bash completion for lanternctl; made by "lanternctl completion bash"
_lanternctl()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' own='' words='' group='' arguments=0 knows_codes=1 i
    local -a projector=()
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --host | --port)
            projector+=("${COMP_WORDS[i]}" "${COMP_WORDS[++i]}")
            ;;
        --ipc | --serial) # where nobody can be asked for the codes
            knows_codes=''
            ((++i))
            ;;
        :) # the rate of a serial line is a word of its own here
            ((++i))
            ;;
        %OPTIONS_WITH_VALUE%)
            ((++i))
            ;;
        -*) ;;
        *)
            if [[ -z $command ]]; then
                command=${COMP_WORDS[i]}
            else
                ((++arguments))
            fi
            ;;
        esac
    done
    case $previous in
    --format)
        words='table codes markdown'
        [[ $command == cep ]] && words='1 2'
        ;;
    --host)
        COMPREPLY=($(compgen -A hostname -- "$current"))
        return
        ;;
    --ipc)
        COMPREPLY=($(compgen -d -- "$current"))
        return
        ;;
    --serial)
        COMPREPLY=($(compgen -f -- "$current"))
        return
        ;;
    %OPTIONS_WITH_VALUE%)
        return
        ;;
    *)
        case $command in
%OPTIONS_BY_COMMAND%
        esac
        if [[ $current == -* ]]; then
            words="%OPTIONS% $own"
        else
            case $command:$arguments in
            :0) words='%COMMANDS%' ;;
            completion:0) words='bash zsh' ;;
            cep:0) words='decode encode talk serve' ;;
            cep:1)
                COMPREPLY=($(compgen -f -- "$current"))
                return
                ;;
            cep:2) words='get set' ;;
            fav:0) words='list add remove clear' ;;
            account:0) words='list add passwd remove' ;;
            status:0)
                [[ -n $knows_codes ]] || return
                while read -r group; do
                    [[ ${group,,} != "${current,,}"* ]] || COMPREPLY+=("${group// /\\ }")
                done < <("$1" "${projector[@]}" --timeout 500 --json status 2>/dev/null |
                    sed -n 's/.*"group":"\([^"]*\)".*/\1/p' | sort -u)
                return
                ;;
            set:0 | info:0 | list:0 | get:* | watch:* | fav:*)
                # Asked of the projector, which may not be there: not for long, and without a word.
                [[ -n $knows_codes ]] || return
                words=$("$1" "${projector[@]}" --timeout 500 list --format codes 2>/dev/null)
                current=${current^^}
                ;;
            esac
        fi
        ;;
    esac
    COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -F _lanternctl lanternctl
