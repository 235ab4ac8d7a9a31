# bash completion for qvrfctl(1)

# The resources below what is typed of a path, as far as the BMC lets somebody log in. _qvrfctl_paths PATH OPTION...
_qvrfctl_paths()
{
    local below=${1%/*}
    [[ $below == /redfish/v1* ]] || below=/redfish/v1
    if [[ "$below ${*:2}" != "${_qvrfctl_asked-}" ]]; then
        _qvrfctl_known=$(qvrfctl tree "$below" --depth 1 --timeout 3 "${@:2}" 2> /dev/null < /dev/null)
        _qvrfctl_asked=${_qvrfctl_known:+"$below ${*:2}"}
    fi
    COMPREPLY=($(compgen -W "/redfish/v1/ $_qvrfctl_known" -- "$1"))
    compopt -o nospace 2> /dev/null || true
}

_qvrfctl()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="status power sensors log firmware boot task tree discover services link get post patch delete upload events session user doctor report help"
    local options="--address --port --generation --user --privilege --json --pretty --verbose --version --help"
    local command="" verb="" reach=() i

    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            --address | --port | --generation | --user | --privilege)
                reach+=("${COMP_WORDS[i]}" "${COMP_WORDS[i + 1]}")
                ((i++))
                ;;
            -d | --data | -o | --output | \
                --file | --metadata | --count | --timeout | --watch | --system | --select | --chassis | --log | \
                --severity | --since | --until | -n | --lines | --depth | --mode | --password-file | --url | \
                --target | --apply) ((i++)) ;;
            -*) ;;
            *)
                if [[ -z $command ]]; then
                    command=${COMP_WORDS[i]}
                elif [[ -z $verb ]]; then
                    verb=${COMP_WORDS[i]}
                fi
                ;;
        esac
    done

    case $before in
        --generation) COMPREPLY=($(compgen -W "auto new old" -- "$word")) && return ;;
        --privilege) COMPREPLY=($(compgen -W "ro op root" -- "$word")) && return ;;
        --apply) COMPREPLY=($(compgen -W "now reset" -- "$word")) && return ;;
        --mode) COMPREPLY=($(compgen -W "UEFI Legacy" -- "$word")) && return ;;
        -o | --output | --file | --password-file) COMPREPLY=($(compgen -f -- "$word")) && return ;;
        --severity) COMPREPLY=($(compgen -W "OK Warning Critical" -- "$word")) && return ;;
        --address | --port | --user | --count | --timeout | --watch | --system | --select | --chassis | --log | \
            --url | --target | --since | --until | -n | --lines | --depth) return ;;
        -d | --data | --metadata)
            [[ $word == @* ]] && COMPREPLY=($(compgen -P @ -f -- "${word#@}"))
            return
            ;;
    esac

    case $command in
        status) options+=" --watch --timeout --system" ;;
        discover | services | link) options+=" --watch --timeout" ;;
        power) options+=" --watch --timeout --system --force --yes --no-wait" ;;
        boot) options+=" --watch --timeout --system --mode" ;;
        sensors) options+=" --watch --timeout --system --chassis --all --bad" ;;
        log) options+=" --watch --timeout --system --log --severity --since --until --lines --all --yes" ;;
        firmware | task | session)
            options+=" --watch --timeout"
            [[ $command$verb == sessionclose ]] && options+=" --others --yes"
            [[ $command$verb == firmwareupdate ]] && options+=" --url --target --apply --no-wait --yes"
            ;;
        tree) options+=" --depth --watch --timeout" ;;
        get) options+=" --include --output --no-auth --select --expand --watch --timeout" ;;
        post | patch) options+=" --include --data" ;;
        delete) options+=" --include" ;;
        upload) options+=" --file --metadata" ;;
        events) options+=" --count --timeout --reconnect" ;;
        doctor) options+=" --probe" ;;
        report) options+=" --output" ;;
        user)
            options+=" --watch --timeout"
            [[ $verb == add || $verb == delete ]] && options+=" --no-check --redfish"
            [[ $verb == passwd ]] && options+=" --password-file --generate"
            ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    elif [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$word"))
    elif [[ $command == power && -z $verb ]]; then
        COMPREPLY=($(compgen -W "status on off restart cycle nmi" -- "$word"))
    elif [[ $command == firmware && -z $verb ]]; then
        COMPREPLY=($(compgen -W "list update" -- "$word"))
    elif [[ $command == firmware && $verb == update ]]; then
        COMPREPLY=($(compgen -f -- "$word"))
    elif [[ $command == log && -z $verb ]]; then
        COMPREPLY=($(compgen -W "list clear follow" -- "$word"))
    elif [[ $command == session && -z $verb ]]; then
        COMPREPLY=($(compgen -W "list close" -- "$word"))
    elif [[ $command == boot && $verb == once ]]; then
        COMPREPLY=($(compgen -W "pxe cd disk bios none" -- "$word"))
    elif [[ $command == user && $verb == role ]]; then
        COMPREPLY=($(compgen -W "ro op root" -- "$word"))
    elif [[ $command == boot && -z $verb ]]; then
        COMPREPLY=($(compgen -W "show once" -- "$word"))
    elif [[ $command == task && -z $verb ]]; then
        COMPREPLY=($(compgen -W "list wait" -- "$word"))
    elif [[ $command == user && -z $verb ]]; then
        COMPREPLY=($(compgen -W "list add delete passwd enable disable role" -- "$word"))
    elif [[ $command == link && -z $verb ]]; then
        COMPREPLY=($(compgen -W "status setup" -- "$word"))
    elif [[ $command == help && -z $verb ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$word"))
    elif [[ $command =~ ^(get|post|patch|delete|upload|events|tree)$ && -z $verb ]]; then
        _qvrfctl_paths "$word" "${reach[@]}"
    fi
} &&
    complete -F _qvrfctl qvrfctl
