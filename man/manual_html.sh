#!/bin/sh
# manual_html.sh VERSION STYLE DIRECTORY PAGE...: writes the manual pages as HTML, NAME.SECTION.html
# each, with an index and the style sheet beside them, into DIRECTORY, which holds nothing else
# afterwards. What pages refer to is linked: among themselves, and to Debian's site for the system's.
set -eu
version=$1 style=$2 directory=$3
shift 3
rm -rf "$directory"
mkdir -p "$directory"
cp "$style" "$directory/manual.css"

# References lead to Debian's site at first, and those to a page of ours are turned to it.
site=https://manpages.debian.org/bookworm
ours=
for page; do
    ours="$ours s|$site/${page##*/}\"|${page##*/}.html\"|;"
done
for page; do
    toc=
    [ "$(grep -c '^\.Sh' "$page")" -lt 9 ] || toc=,toc
    mandoc -W error -I os="libtvsi $version" -T html -O "style=manual.css,man=$site/%N.%S$toc" "$page" \
        >"$directory/part"
    sed -e "$ours" -e 's|^<html>$|<html lang="en">|' \
        -e 's|\(<td class="head-vol">\).*\(</td>\)|\1<a href="index.html">Manual of libtvsi</a>\2|' \
        -e 's|<h1 class="Sh">TABLE OF CONTENTS</h1>|<h2 class="toc">Contents</h2>|' \
        "$directory/part" >"$directory/${page##*/}.html"
done
rm "$directory/part"

# rows SECTION PAGE...: the pages of a section, each with the line that says what it is.
rows() {
    section=$1
    shift
    for page; do
        name=${page##*/}
        [ "${name##*.}" = "$section" ] || continue
        printf '<dt><a href="%s.html">%s(%s)</a></dt>\n<dd>%s</dd>\n' "$name" "${name%.*}" "$section" \
            "$(sed -n 's/^\.Nd //p' "$page" | sed 's/&/\&amp;/g; s/</\&lt;/g')"
    done
}
{
    cat <<END
<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8"/>
<meta name="viewport" content="width=device-width, initial-scale=1.0"/>
<link rel="stylesheet" href="manual.css" type="text/css"/>
<title>Manual of libtvsi</title>
</head>
<body>
<div class="manual-text">
<h1 class="Sh">Manual of libtvsi</h1>
<p class="Pp">Live statistics of a Talvex database server on the same host.</p>
<h2 class="Ss">Programs</h2>
<dl class="Bl-tag">
$(rows 1 "$@")
</dl>
<h2 class="Ss">For C, C++ and Python</h2>
<dl class="Bl-tag">
$(rows 3 "$@")
</dl>
<h2 class="Ss">The statistics</h2>
<dl class="Bl-tag">
$(rows 7 "$@")
</dl>
</div>
<table class="foot"><tr><td class="foot-os">libtvsi $version</td></tr></table>
</body>
</html>
END
} >"$directory/index.html"
