# Turns apt entries for Debian's own archive into deb-src entries. format is "line" or "deb822".

function is_debian_suite(suite) {
    return suite ~ /^(bookworm|stable|oldstable|oldoldstable)(-updates|-security|-proposed-updates)?$/ ||
        suite ~ /^(bookworm|stable|oldstable|oldoldstable)\/updates$/
}
function is_foreign_key(text) { return text ~ /\.(gpg|asc)/ && text !~ /debian-archive|debian-keyring/ }

function flush_stanza(   i, n, words, suites) {
    n = split(field["suites"], words, /[ \t]+/)
    for (i = 1; i <= n; i++) if (is_debian_suite(words[i])) suites = suites " " words[i]
    if (field["types"] ~ /(^|[ \t])deb([ \t]|$)/ && tolower(field["enabled"]) !~ /no|false|off|0/ && suites != "" &&
        field["components"] ~ /(^|[ \t])main([ \t]|$)/ && !is_foreign_key(field["signed-by"])) {
        print "Types: deb-src\nSuites:" suites "\nComponents: main"
        printf "%s\n", kept
    }
    delete field
    kept = ""
}

/^#/ { next }

format == "line" && $1 == "deb" {
    options = match($0, /\[[^]]*\]/) ? substr($0, RSTART, RLENGTH) : ""
    rest = $0
    sub(/^[ \t]*deb[ \t]+(\[[^]]*\])?[ \t]*/, "", rest)
    split(rest, words, /[ \t]+/)
    if (is_debian_suite(words[2]) && rest ~ /[ \t]main([ \t]|$)/ && !is_foreign_key(options))
        print "deb-src " options " " words[1] " " words[2] " main"
}

format == "deb822" && /^[ \t]*$/ { flush_stanza(); next }
format == "deb822" {
    if ($0 ~ /^[^ \t:]+:/) {
        name = tolower(substr($0, 1, index($0, ":") - 1))
        value = substr($0, index($0, ":") + 1)
        sub(/^[ \t]+/, "", value)
        field[name] = value
    } else {
        field[name] = field[name] " " $0
    }
    if (name !~ /^(types|suites|components|enabled|architectures|languages|targets|pdiffs|by-hash)$/) kept = kept $0 "\n"
}
END { if (format == "deb822") flush_stanza() }
