# shellcheck shell=bash
# Debian source packages, read through a private apt configuration so that the machine's own stays as it is.

# The deb-src form of the machine's entries for Debian itself. Other vendors' entries have another suite, or a key of
# their own.
debian_source_entries() {
    local format=$1 file
    shift
    for file in "$@"; do
        [ -r "$file" ] && awk -v format="$format" -f "$QSN_ROOT/tools/deb-src.awk" "$file"
    done
    return 0
}

prepare_private_apt() {
    local home=$1
    mkdir -p "$home/etc/parts" "$home/lists/partial" "$home/cache/archives/partial"
    debian_source_entries line /etc/apt/sources.list /etc/apt/sources.list.d/*.list >"$home/etc/parts/debian.list"
    debian_source_entries deb822 /etc/apt/sources.list.d/*.sources >"$home/etc/parts/debian.sources"
    [ -s "$home/etc/parts/debian.list" ] || [ -s "$home/etc/parts/debian.sources" ] ||
        die "no Debian entry found in the machine's apt sources"
    # Everything else, such as proxies and certificates, comes from the machine's configuration.
    cat >"$home/apt.conf" <<CONF
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$home/etc/parts";
Dir::State::lists "$home/lists";
Dir::Cache "$home/cache";
APT::Sandbox::User "root";
APT::Get::List-Cleanup "false";
CONF
    # An entry may fail as long as another one lists the package.
    APT_CONFIG=$home/apt.conf run_logged "$home/update.log" apt-get update || say "some package lists are missing"
}

# fetch_source PACKAGE VERSION_PREFIX FOLDER: unpacks the newest source package of that series that the mirror really
# has (an index may name one that is gone or not there yet) and prints the folder and its version.
fetch_source() (
    package=$1 prefix=$2 folder=$3
    prepare_private_apt "$folder/apt"
    export APT_CONFIG=$folder/apt/apt.conf
    mapfile -t versions < <(apt-cache showsrc --only-source "$package" | sed -n 's/^Version: //p' |
        grep "^$prefix" | sort -Vru)
    for version in "${versions[@]}"; do
        rm -rf "$folder/source"
        mkdir -p "$folder/source"
        cd "$folder/source" || exit
        if run_logged "$folder/fetch.log" apt-get -q source --only-source "$package=$version"; then
            tree=$(find "$folder/source" -mindepth 1 -maxdepth 1 -type d)
            printf '%s %s\n' "$tree" "$version"
            exit 0
        fi
        say "$package $version cannot be fetched, trying the next one"
    done
    die "no source package $package $prefix* could be fetched"
)
