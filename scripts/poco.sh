# Where POCO's sources come from: for scripts/setup and scripts/package. To be sourced, after steps.sh.

# Debian's own source package, by a source list of our own: the machine's stay as they are. The mirror is the one from
# which this machine takes its binary packages.
fetch_poco()
{
    local folder=$1 mirror package
    # Any package of POCO will do: the mirror that has it has the sources, too.
    apt-cache show libpoco-dev >/dev/null 2>&1 || as_root apt-get -q update
    package=$(cd "$folder" && apt-get download --print-uris libpoco-dev | cut -d"'" -f2)
    mirror=${package%%/pool/*}
    [ -n "$mirror" ] || { echo "apt knows no mirror that has libpoco-dev"; return 1; }
    mkdir -p "$folder/apt/lists/partial"
    echo "deb-src $mirror bookworm main" >"$folder/apt/sources.list"
    local apt=(apt-get -q -o Dir::Etc::sourcelist="$folder/apt/sources.list" -o Dir::Etc::sourceparts=/dev/null
               -o Dir::State::lists="$folder/apt/lists" -o Dir::Cache="$folder/apt" -o APT::Sandbox::User=)
    "${apt[@]}" update || { sleep 5; "${apt[@]}" update; }
    (cd "$folder" && "${apt[@]}" source --download-only poco)
}
