# What check-i386 and package share: a Debian root of its own, made with mmdebstrap from this machine's mirror, kept as
# an archive, unpacked in memory and entered with unshare and chroot. Sourced behind common.sh.
#
# The script has a function root_options, which prints the options of mmdebstrap, one a line: everything about the root
# but where it comes from.

readonly archives="${XDG_CACHE_HOME:-$HOME/.cache}/stkplugin"
readonly release=bookworm
archive=""                                       # of the root, named after its options; provide_root knows it
space_variables=(root archives release archive) # what functions in namespaces see of the script's variables

say() { echo "${0##*/}: $*"; }

check_rights() {
    local complaint
    complaint="$(unshare "${spaces[@]}" --net sh -c 'mount -t tmpfs none /mnt && chroot / true' 2>&1)" && return
    local advice="It is run by root, but without the rights of root: give the container the capability SYS_ADMIN."
    ((EUID == 0)) || advice="Run it as root, or get for yourself
    - subordinate ids: usermod --add-subuids 100000-165535 --add-subgids 100000-165535 $(id -un)
    - user namespaces: sysctl user.max_user_namespaces=10000 (and kernel.unprivileged_userns_clone=1 where it exists)"
    die "namespaces cannot be made here: ${complaint:-unshare failed}
  $advice"
}

# --- Namespaces ---

# What runs in them ends with this script, however it ends: the first process dies with unshare, and all others with
# the first.
spaces=(--mount --pid --ipc --fork --kill-child=KILL --mount-proc)
((EUID == 0)) || spaces+=(--user --map-root-user --map-auto)
spaces_pid=""

end_spaces() {
    [[ -z "$spaces_pid" ]] || kill -KILL "$spaces_pid" 2>/dev/null || true
}

end_spaces_at_exit() {
    trap end_spaces EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
}

# Runs a function of the script in namespaces of its own: in_spaces [UNSHARE OPTION...] -- FUNCTION [ARGUMENT...]
#
# In the background, so that a signal to this script is acted on at once.
in_spaces() {
    local options=("${spaces[@]}") result=0
    while [[ "$1" != -- ]]; do
        options+=("$1")
        shift
    done
    shift
    setpriv --pdeathsig KILL unshare "${options[@]}" \
        bash -euo pipefail -c "$(declare -p "${space_variables[@]}"); $(declare -f); "'"$@"' \
        "${0##*/}" "$@" </dev/null &
    spaces_pid=$!
    wait "$spaces_pid" || result=$?
    spaces_pid=""
    return "$result"
}

# --- The root ---

# "deb" lines of this machine's mirrors for the suites named.
mirror_lines() {
    local suite uri uris
    uris="$(apt-get --print-uris update 2>/dev/null)"
    for suite in "$@"; do
        uri="$(sed -n "s|^'\([^']*\)/dists/$suite/\(In\)\?Release'.*|\1|; T; p; q" <<<"$uris")"
        [[ -n "$uri" ]] || die "apt on this machine has no source for $suite: add Debian's to /etc/apt/sources.list.d"
        echo "deb $uri $suite main"
    done
}

# How apt here reaches its mirrors: proxies, certificates, dates.
apt_options() {
    apt-config dump | { grep -E '^Acquire::(https?|Retries|Check-|ForceIPv)' || true; } | sed 's/^/--aptopt=/'
}

make_root_from() {
    local options mirrors
    mirrors="$(mirror_lines "$@")" || return
    mapfile -t mirrors <<<"$mirrors"
    mapfile -t options < <(root_options; apt_options)
    say "from: $*"
    # shellcheck disable=SC2016 # the hook's own argument
    TMPDIR=/mnt mmdebstrap --mode=root --format=tar "${options[@]}" \
        --customize-hook='rm -f "$1/etc/apt/apt.conf.d/99mmdebstrap"' "$release" - "${mirrors[@]}" |
        zstd -q -3 -T0 -f -o "$archive.part"
}

# The release alone is enough as a rule. Where a mirror has lost packages of it, the newer ones are taken in.
make_root() {
    mount -t tmpfs -o mode=755,size=90% none /mnt
    make_root_from "$release" || make_root_from "$release" "$release-updates" ||
        make_root_from "$release" "$release-updates" "$release-security"
}

# provide_root NAME: makes the archive when it is not there. One run makes it, another that wants it waits.
provide_root() {
    archive="$archives/$1-$(root_options | sha256sum | cut -c 1-16).tar.zst"
    mkdir -p "$archives"
    exec 9>"$archives/$1.lock"
    flock 9
    find "$archives" -name "$1-*.tar.zst*" -mtime +30 -delete # of lists that nobody has any more
    if [[ ! -f "$archive" ]]; then
        say "making the root, which is kept in $archive"
        in_spaces -- make_root || die "the root could not be made, see above"
        mv "$archive.part" "$archive"
    fi
    touch "$archive"
    exec 9>&-
}

bind_device() {
    touch "/mnt/dev/$1"
    mount --bind "/dev/$1" "/mnt/dev/$1"
}

mount_devices() {
    local device
    mount -t tmpfs -o mode=755 none /mnt/dev
    for device in null zero full random urandom tty; do bind_device "$device"; done
    mkdir /mnt/dev/shm /mnt/dev/pts
    mount -t tmpfs -o mode=1777 none /mnt/dev/shm
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620 none /mnt/dev/pts
    ln -s pts/ptmx /mnt/dev/ptmx
    ln -s /proc/self/fd /mnt/dev/fd
    ln -s fd/0 /mnt/dev/stdin
    ln -s fd/1 /mnt/dev/stdout
    ln -s fd/2 /mnt/dev/stderr
}

unpack_root() {
    mount -t tmpfs -o mode=755,size=90% none /mnt
    tar --zstd -xf "$archive" -C /mnt --exclude='./dev/*'
    mount -t proc none /mnt/proc
    mount_devices
    mount -t tmpfs -o mode=1777 none /mnt/tmp
    echo '127.0.0.1 localhost' >/mnt/etc/hosts
    ip link set lo up
}
