# Sources of libraries that Debian does not offer for Windows programs: for scripts/setup and scripts/package. To be
# sourced, after steps.sh.

# fetch_source FOLDER SOURCE BINARY: Debian's own source package, by a source list of our own: the machine's stay as they
# are. The mirror is the one from which this machine takes its binary packages, of which BINARY is one.
fetch_source()
{
    local folder=$1 source=$2 binary=$3 mirror package
    # Any binary package of that source will do: the mirror that has it has the sources, too.
    apt-cache show "$binary" >/dev/null 2>&1 || as_root apt-get -q update
    package=$(cd "$folder" && apt-get download --print-uris "$binary" | cut -d"'" -f2)
    mirror=${package%%/pool/*}
    [ -n "$mirror" ] || { echo "apt knows no mirror that has $binary"; return 1; }
    mkdir -p "$folder/apt/lists/partial"
    echo "deb-src $mirror bookworm main" >"$folder/apt/sources.list"
    local apt=(apt-get -q -o Dir::Etc::sourcelist="$folder/apt/sources.list" -o Dir::Etc::sourceparts=/dev/null
               -o Dir::State::lists="$folder/apt/lists" -o Dir::Cache="$folder/apt" -o APT::Sandbox::User=)
    "${apt[@]}" update || { sleep 5; "${apt[@]}" update; }
    (cd "$folder" && "${apt[@]}" source --download-only "$source")
}

fetch_poco()
{
    fetch_source "$1" poco libpoco-dev
}
