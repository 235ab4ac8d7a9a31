#!/bin/sh
# The installer of a package that shows how an agent's is called:
#   setup.sh -i -a [ARGUMENTS]   install unattended      setup.sh -d   uninstall      setup.sh   ask, then install
# It registers the version below and a usage logger, nothing else. ARGUMENTS: --fail STATUS ends it with that status.
set -eu
home=/opt/zelmar/kappel/Oxa
version=$(cat "$(dirname "$0")/VERSION")

record() {
    mkdir -p "$home/var/log"
    echo "$*" >> "$home/var/log/setup.log"
}

install() {
    mkdir -p "$home/etc" "$home/lib64/qvoxa"
    printf '#!/bin/sh\necho "$*" >> %s/var/log/usage.log\n' "$home" > "$home/lib64/qvoxa/oxamutlogger"
    chmod 755 "$home/lib64/qvoxa/oxamutlogger"
    # The registration makes it an installed agent: it comes last, and as a whole.
    printf '# agent\nOXA.qdilcore.version=%s\n' "$version" > "$home/etc/.qvoxareg.new"
    mv "$home/etc/.qvoxareg.new" "$home/etc/qvoxareg.cfg"
    record "installed $version: $*"
}

case ${1-} in
    -d)
        rm -f "$home/etc/qvoxareg.cfg"
        record uninstalled
        ;;
    -i)
        shift 2
        [ "${1-}" != --fail ] || exit "$2"
        install "$@"
        ;;
    '')
        printf 'Install Torvo Service Module %s? [y/n] ' "$version"
        read -r answer
        [ "$answer" = y ] || { echo "Nothing was changed."; exit 3; }
        install
        ;;
    *)
        echo "usage: setup.sh [-i -a [ARGUMENTS] | -d]" >&2
        exit 2
        ;;
esac
