# bash completion for qvoxa-sync(1)

_qvoxa_sync()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local given=" ${COMP_WORDS[*]:1:COMP_CWORD-1} "
    local of_update="--silent --force --install-args" actions="--download --version-report --setup-link"
    local options="--json --exit-code --version --help"

    COMPREPLY=()
    case $before in
        --download)
            local IFS=$'\n'
            COMPREPLY=($(compgen -d -- "$word"))
            compopt -o filenames 2> /dev/null || true
            return
            ;;
        --install-args) return ;;
    esac
    # What does not go together is not offered together.
    case $given in
        *" --silent "* | *" --force "* | *" --install-args "*) options+=" $of_update" ;;
        *" --download "*) ;;
        *" --version-report "* | *" --setup-link "*) options=${options/--exit-code /} ;;
        *) options+=" $of_update $actions" ;;
    esac
    COMPREPLY=($(compgen -W "$options" -- "$word"))
} &&
    complete -F _qvoxa_sync qvoxa-sync
