# bash completion for torvosim(1)

_torvosim()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local options="--https-address --https-port --netns --netns-link --tls-min --tls-max --state-dir --ipmi-unix --ipmi-tcp
        --control-socket --token-key --mockup --package-dir --open-prefix --generation --session-limit --session-timeout
        --token-logins --delete-no-body --event-interval --root-password --set --control --trace --ready-file
        --write-config --version --help"
    local words="help get set stats trace generation sessions expire session-limit session-timeout delete-body token-logins
        forget-tokens link users user-check refuse-users kslog kslog-add kslog-clear kslog-refuse stop features page-size
        require-if-match power-time power-ignore boot-how health sensors sensor sensor-drift log logs
        accounts update-how task-time task-end bmc-restart clear faults status
        cut drop duplicate add-header endless-header raw delay ipmi-cc ipmi-silent ipmi-delay ipmi-short ipmi-long
        ipmi-reply ipmi-garbage event events events-together event-split event-raw event-interval keep-alive stream-end
        stream-break"

    COMPREPLY=()
    case $before in
        --state-dir | --mockup | --package-dir) COMPREPLY=($(compgen -d -- "$word")) && return ;;
        --ipmi-unix | --control-socket | --token-key | --trace | --ready-file | --write-config | --socket)
            COMPREPLY=($(compgen -f -- "$word")) && return ;;
        --generation | generation) COMPREPLY=($(compgen -W "new old" -- "$word")) && return ;;
        --tls-min | --tls-max) COMPREPLY=($(compgen -W "1.0 1.1 1.2 1.3" -- "$word")) && return ;;
        --https-address | --https-port | --netns-link | --ipmi-tcp | --open-prefix | --session-limit | --session-timeout | \
            --token-logins | --event-interval | --root-password | --set | --control) return ;;
        link) COMPREPLY=($(compgen -W "up down" -- "$word")) && return ;;
        features)
            COMPREPLY=($(compgen -W "all none ignore refuse no-links expand-all links levels select top-skip multiple" \
                -- "$word")) && return ;;
        require-if-match) COMPREPLY=($(compgen -W "on off strong" -- "$word")) && return ;;
        boot-how) COMPREPLY=($(compgen -W "direct settings ignore revert" -- "$word")) && return ;;
        sensors) COMPREPLY=($(compgen -W "new old both none" -- "$word")) && return ;;
        accounts) COMPREPLY=($(compgen -W "slots collection" -- "$word")) && return ;;
        update-how) COMPREPLY=($(compgen -W "multipart push simple none" -- "$word")) && return ;;
        task-end)
            COMPREPLY=($(compgen -W "Completed Exception Killed Cancelled Pending Suspended Interrupted vanish" \
                -- "$word")) && return ;;
        sensor-drift) COMPREPLY=($(compgen -W "on off" -- "$word")) && return ;;
        log | logs) COMPREPLY=($(compgen -W "Sel LcLog" -- "$word")) && return ;;
        ctl) COMPREPLY=($(compgen -W "--socket --timeout --help $words" -- "$word")) && return ;;
    esac
    if [[ " ${COMP_WORDS[*]:1:COMP_CWORD-1} " == *" ctl "* ]]; then
        [[ ${COMP_WORDS[COMP_CWORD - 2]} != --@(socket|timeout) ]] || COMPREPLY=($(compgen -W "$words" -- "$word"))
    elif [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    else
        COMPREPLY=($(compgen -W "ctl" -- "$word"))
    fi
} &&
    complete -F _torvosim torvosim
