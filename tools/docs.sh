# shellcheck shell=bash
# The pages of docs/ and the public headers as HTML.

version_of_header() {
    sed -n 's/^#define QSN_VERSION_\(MAJOR\|MINOR\|PATCH\)[ \t]*\([0-9]*\).*/\2/p' "$QSN_ROOT/include/qsn/qsn.h" | paste -sd .
}

# dead_links FOLDER: prints a line for each link between the pages of FOLDER that leads nowhere.
dead_links() {
    perl -e '
        use strict;
        use warnings;
        my ($folder) = @ARGV;
        my (%anchors, @links);
        for my $path (glob "$folder/*.html") {
            open my $file, "<", $path or die "$path: $!";
            local $/;
            my $page = <$file>;
            my $name = substr $path, length($folder) + 1;
            $anchors{$name}{$1} = 1 while $page =~ /\b(?:id|name)="([^"]*)"/g;
            push @links, [$name, $1] while $page =~ /<(?:a|link|area)\b[^>]*?\s(?:xlink:)?href="([^"]*)"/g;
            push @links, [$name, $1] while $page =~ /<(?:img|script|object|iframe)\b[^>]*?\s(?:src|data)="([^"]*)"/g;
        }
        for my $link (@links) {
            my ($from, $to) = @$link;
            next if $to =~ /^(?:[a-z][a-z0-9+.-]*:|\/\/)/i;
            my ($page, $anchor) = $to =~ /^([^#?]*)[^#]*#?(.*)$/;
            $page = $from if $page eq "";
            next if $anchors{$page} ? $anchor eq "" || $anchors{$page}{$anchor} : $anchor eq "" && -e "$folder/$page";
            print "$from: $to\n";
        }
    ' "$1" | sort -u
}

# A line for each link of a Markdown page, built or not, to a file that is not there.
missing_files() {
    local page target
    (cd "$QSN_ROOT" && grep -oE '\]\([A-Za-z0-9_./-]+\)' ./*.md docs/*.md service/*.md) | while IFS=: read -r page target; do
        target=${target#](}
        target=${target%)}
        [ -e "$QSN_ROOT/${page%/*}/$target" ] || echo "$page: $target"
    done
}

run_docs() {
    local output=$BUILD_DIR/docs log=$BUILD_DIR/docs/doxygen.log dead
    require_packages "${DOCS_PACKAGES[@]}"
    lock_build_folder
    rm -rf "$output"
    mkdir -p "$output"
    say "writing the documentation"
    (cd "$QSN_ROOT/docs" && {
        cat Doxyfile
        printf '%s = "%s"\n' OUTPUT_DIRECTORY "$output" PROJECT_NUMBER "$(version_of_header)"
    } | doxygen -) >"$log" 2>&1 || {
        cat "$log" >&2
        die "Doxygen failed"
    }
    # Everything it reads is ours, and so is every warning.
    if [ -s "$log" ]; then
        sed "s,$QSN_ROOT/,," "$log" >&2
        die "the documentation has the faults above"
    fi
    dead=$(missing_files && dead_links "$output/html")
    [ -z "$dead" ] || die "links that lead nowhere:"$'\n'"$dead"
    say "documentation in $output/html/index.html"
}
