# SPDX-License-Identifier: Apache-2.0
# For scripts that fetch packages of this machine's release that the machine itself does not install: they use
# package lists of their own, so that the system's configuration is not changed. apt verifies what it downloads as
# usual.
#
#   fail() { ...; exit 1; }             called with what went wrong
#   . scripts/private-apt.bash
#   private_apt_lists deb-src FOLDER    or deb; empties FOLDER
#   apt-get "${apt_options[@]}" update

# The deb822 stanzas of binary packages of a release, as entries of a type, for any architecture.
private_apt_stanzas() {
    awk -v type="$1" -v suite="$2" '
        BEGIN { RS = ""; FS = "\n" }
        {
            text = ""; binary = 0; ours = 0; enabled = 1; main = 0
            for (i = 1; i <= NF; ++i) {
                if ($i ~ /^#/) continue
                if ($i ~ /^Types:/) { binary = ($i ~ /(^|[ \t:])deb([ \t]|$)/); continue }
                if ($i ~ /^Suites:/) { ours = index($i " ", " " suite " ") > 0; continue }
                if ($i ~ /^Components:/) { main = index($i " ", " main ") > 0; continue }
                if ($i ~ /^Architectures:/) continue
                if ($i ~ /^Enabled:[ \t]*no/) enabled = 0
                text = text $i "\n"
            }
            if (binary && ours && main && enabled)
                printf "Types: %s\nSuites: %s\nComponents: main\n%s\n", type, suite, text
        }' "$3"
}

# The same for one-line entries.
private_apt_lines() {
    sed -nE "s/^deb([[:space:]]+(\[[^]]*\][[:space:]]+)?[^[:space:]]+[[:space:]]+$2)[[:space:]]+(.*[[:space:]])?main([[:space:]].*)?\$/$1\1 main/p" "$3" |
        sed -E 's/(\[|[[:space:]])arch=[^] ]*/\1/; s/[[:space:]]+\[[[:space:]]*\]//'
}

# The machine's own sources of this release, as entries of a type.
private_apt_sources() {
    local type=$1 parts=$2 file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        if [ -r "$file" ]; then
            private_apt_lines "$type" "$apt_suite" "$file"
        fi
    done >"$parts/derived.list"
    for file in /etc/apt/sources.list.d/*.sources; do
        if [ -r "$file" ]; then
            private_apt_stanzas "$type" "$apt_suite" "$file"
        fi
    done >"$parts/derived.sources"
    [ -s "$parts/derived.list" ] || [ -s "$parts/derived.sources" ] ||
        fail "no apt source of $apt_suite main on this machine"
}

# Sets apt_suite to the release, and apt_options to what makes apt use lists of a type in a folder.
private_apt_lists() {
    local type=$1 folder=$2
    apt_suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
    [ -n "$apt_suite" ] || fail "this machine does not tell its release"
    rm -rf "$folder"
    mkdir -p "$folder/parts" "$folder/lists/partial" "$folder/cache/archives/partial"
    private_apt_sources "$type" "$folder/parts"
    apt_options=(-o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$folder/parts"
                 -o Dir::State::Lists="$folder/lists" -o Dir::Cache="$folder/cache" -o Acquire::Languages=none
                 -o APT::Sandbox::User=root -o APT::Update::Error-Mode=any -o Acquire::Retries=3 -q=2)
}
