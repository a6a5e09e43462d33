# What dev and the scripts share: one line and one log per step. To be sourced.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
logs=$repo/build/logs
cache=${TRAVIK_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/travik-sdk}
# Each state of the recipes has a folder of its own, because clones of different age share the cache. The toolchain file
# of CMake makes the same name.
prefix=$cache/mingw-$(cat "$repo/scripts/libraries.sh" "$repo/cmake/PocoParts.cmake" | sha256sum | cut -c1-12)

fail()
{
    printf 'dev: %s\n' "$*" >&2
    exit 1
}

# show_progress LOG TITLE: on a terminal, what runs, for how long, and how far Ninja or CTest is. Ends with the script.
show_progress()
{
    local log=$1 title=$2 start=$SECONDS at
    while sleep 1 && kill -0 $$ 2>/dev/null; do
        at=$(tail -c 4000 "$log" | sed -nE 's|^[[ ]*([0-9]+)/([0-9]+)[] ].*|step \1 of \2|p' | tail -n 1)
        printf '\r\033[K[%3ds] %s%s' $((SECONDS - start)) "$title" "${at:+: $at}"
    done
}

# step LOG TITLE REMEDY COMMAND...: runs the command quietly and prints its time. A failure shows the end of the log and
# the remedy, and ends the script.
step()
{
    local log=$logs/$1.log title=$2 remedy=$3 start=$SECONDS code=0 progress=
    shift 3
    mkdir -p "$logs"
    : >"$log"
    if [ -t 1 ]; then
        show_progress "$log" "$title" 9>&- &
        progress=$!
    fi
    # The subshell stands outside any condition, or set -e would be off in it. File 9 holds the lock of the caller, which
    # must not live on in programs that stay (a Wine server).
    set +e
    (set -e; "$@") >"$log" 2>&1 </dev/null 9>&-
    code=$?
    set -e
    if [ -n "$progress" ]; then
        kill "$progress" 2>/dev/null && wait "$progress" 2>/dev/null || true
        printf '\r\033[K'
    fi
    if [ $code != 0 ]; then
        tail -n 15 "$log" | sed 's/^/    /' >&2
        fail "$title failed after $((SECONDS - start)) s: $remedy (whole log: ${log#"$repo"/})"
    fi
    printf '[%3ds] %s\n' $((SECONDS - start)) "$title"
}

# hold_wine FILE: keeps a program running in each Wine prefix that the file lists until this script ends, and waits until
# all run. Else the first tests would start the prefix's server, two at once perhaps, and its services, which keep the
# output of who started them open.
hold_wine()
{
    local number holder said waits=()
    for number in $(grep -oP '"id": "\K[0-9]+' "$1"); do
        said=$logs/wine-$number.log
        rm -f "$said"
        exec {holder}> >(TRAVIK_WINEPREFIX_NUMBER=$number exec "$repo/scripts/wine-run" cmd >"$said" 2>&1) # reads until its end
        waits+=("$!:$said")
    done
    for holder in "${waits[@]}"; do
        said=${holder#*:}
        until grep -qs Windows "$said"; do
            kill -0 "${holder%%:*}" 2>/dev/null || { cat "$said" >&2; fail "Wine does not start; rm -rf build/wine* and run again"; }
            sleep 0.1
        done
    done
}

# wine_losses FILE FOLDER: how often a start was lost in the tests since the file was made, those of builds of their own
# included.
wine_losses()
{
    find "$2" -name 'wine*' -prune -o -path '*/Testing/Temporary/LastTest.log' -newer "$1" -exec cat {} + |
        grep -c '^Wine lost a start$' || true
}

# await_quiet SECONDS: waits until the machine may be measured, or fails.
await_quiet()
{
    local end=$((SECONDS + $1)) load
    until load=$(cut -d' ' -f1 /proc/loadavg); awk -v load="$load" 'BEGIN { exit !(load < 0.5) }'; do
        [ $SECONDS -lt $end ] || { echo "the machine has other work: load $load, wanted below 0.5"; return 1; }
        sleep 5
    done
}

# sources PATTERN...: tracked or new files, one a line. Headers of idl are for the IDL compiler, not for C++.
sources()
{
    git ls-files --cached --others --exclude-standard -- "$@" | while read -r file; do
        [ -e "$file" ] && printf '%s\n' "$file"
    done
}

# Everything that needs the administrator.
as_root()
{
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# install_packages NAME...: only what is missing, so that a ready machine needs neither root nor network.
install_packages()
{
    local missing=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} = 0 ] && return
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        fail "packages are missing (${missing[*]}) and there is neither root nor sudo: install them as root, then run again"
    fi
    step packages "packages (${#missing[@]} missing)" "check the network and apt's sources, then run again" \
        apt_install "${missing[@]}"
}

apt_install()
{
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -y -q -o DPkg::Lock::Timeout=300)
    local install=("${apt[@]}" install --no-install-recommends "$@")
    as_root dpkg --configure -a # an interrupted installation
    # Package lists may be absent or old; a mirror may fail once.
    as_root "${install[@]}" && return
    as_root "${apt[@]}" update || { sleep 5; as_root "${apt[@]}" update; }
    as_root "${install[@]}"
}
