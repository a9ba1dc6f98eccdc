# The part that run and check share: packages, configuring, building. Sourced, with `set -eu` on and `root` set to the
# top of the tree.

readonly preset="${preset:-dev}" # another one when the script has set it
build="$root/build/$preset"

die() {
    echo "${0##*/}: $1" >&2
    exit 1
}

# Runs a long command with its output in a file: on a terminal the last line shows how far it is, and when it fails
# the end of the file is shown.
logged() {
    local log="$1" title="$2"
    shift 2
    mkdir -p "${log%/*}"
    echo "$title"
    if [[ -t 1 ]]; then
        "$@" 2>&1 | tee "$log" | while IFS= read -r line; do printf '\r\033[K%.79s' "$line"; done
        local result="${PIPESTATUS[0]}"
        printf '\r\033[K'
    else
        local result=0
        "$@" >"$log" 2>&1 || result=$?
    fi
    ((result == 0)) && return 0
    tail -n 40 "$log" >&2
    die "that failed; everything it said is in $log"
}

missing_packages() {
    local wanted
    mapfile -t wanted < <(grep -Ev '^[[:space:]]*(#|$)' "$root/tools/packages.txt")
    comm -23 <(printf '%s\n' "${wanted[@]}" | sort) \
        <(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null |
            sed -n 's/^installed //p' | sort)
}

# Installs the packages of tools/packages.txt that are not there yet: as root, or through sudo.
install_missing_packages() {
    if ! command -v dpkg-query >/dev/null; then
        echo "This is no Debian system: make sure yourself of what tools/packages.txt lists."
        return
    fi
    local packages
    mapfile -t packages < <(missing_packages)
    ((${#packages[@]})) || return 0

    local as_root=()
    if ((EUID != 0)); then
        as_root=(sudo)
        [[ -t 0 ]] || as_root=(sudo -n)
        "${as_root[@]}" true 2>/dev/null || die "these packages are missing and cannot be installed from here; run
  sudo apt-get update && sudo apt-get install --no-install-recommends ${packages[*]}"
    fi
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
    logged "$root/build/packages.log" "Installing missing packages: ${packages[*]}" \
        install_packages "${apt[@]}" -- "${packages[@]}"
}

install_packages() {
    local apt=()
    while [[ "$1" != -- ]]; do
        apt+=("$1")
        shift
    done
    shift
    "${apt[@]}" update && "${apt[@]}" install --no-install-recommends "$@"
}

# Called through sudo in the tree of the one who called sudo: what is built is to be theirs. The packages are
# installed; the rest of the script runs again as that user.
give_back_to_caller() {
    ((EUID == 0)) && [[ -n "${SUDO_UID:-}" && "${SUDO_UID:-}" != 0 ]] || return 0
    [[ "$(stat -c %u "$root")" == "$SUDO_UID" ]] || return 0
    [[ ! -d "$root/build" ]] || chown -R "$SUDO_UID:$SUDO_GID" "$root/build"
    local home
    home="$(getent passwd "$SUDO_UID" | cut -d: -f6)" || true
    exec setpriv --reuid "$SUDO_UID" --regid "$SUDO_GID" --init-groups \
        env -u SUDO_UID -u SUDO_GID -u SUDO_USER HOME="${home:-/}" "$root/${0##*/}" "$@"
}

# Configures when that has not been done for this tree, or the presets have changed since. Ninja itself notices a
# changed CMakeLists.txt.
configure() {
    local cache="$build/CMakeCache.txt"
    if [[ -f "$cache" ]] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$cache"; then
        rm -rf "$build" # made for this folder when it was in another place
    fi
    [[ -f "$build/build.ninja" && "$build/configured" -nt "$root/CMakePresets.json" ]] && return
    logged "$root/build/configure.log" "Configuring build/$preset" in_tree cmake --preset "$preset"
    touch "$build/configured"
}

in_tree() { (cd "$root" && "$@"); }

# Builds the targets named, or all, with every core.
build() {
    configure
    (cd "$build" && NINJA_STATUS='[%f/%t] ' ninja "$@") || die "the build failed, see above"
}
