#!/bin/sh
# Checks that includes run one way between the folders, and that each outside library is met in its own room only.
# The rules are the table of rooms in CONTRIBUTING.md and the table of outsiders below. A reason to change them is a
# reason to talk first.
set -eu
cd "$(dirname "$0")/.."

# room: path prefixes that its files may include beside their own room. The longest room that holds a file counts.
rooms=$(awk -F ' *[|] *' '/^\| `(kestrel|apps)/ {
    gsub(/`/, "", $2)
    line = $2
    n = split($4, word, /, */)
    for (i = 1; i <= n; ++i) line = line " " (word[i] == "kestrel" ? "" : "kestrel/") word[i]
    print line
}' CONTRIBUTING.md)

# outside header (a prefix): rooms that may include it.
outsiders='
hwy/            kestrel/kernels
jpeglib.h       kestrel/codec
png.h           kestrel/codec
tiff            kestrel/codec
libraw/         kestrel/codec
magick/         kestrel/codec
openjpeg.h      kestrel/codec
webp/           kestrel/codec
libheif/        kestrel/codec
lcms2.h         kestrel/codec
zlib.h          kestrel/storage kestrel/codec
libdeflate.h    kestrel/codec
pango/          kestrel/host
cairo           kestrel/host
sqlite3.h       kestrel/settings
CLI/            apps/kestrel
nlohmann/       apps/kestrel
Q               kestrel/dialogs apps/kestrel-dialog apps/darkroom
'

find kestrel apps -type f \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 grep -Hn '^[[:space:]]*#[[:space:]]*include' |
    awk -v rooms="$rooms" -v outsiders="$outsiders" '
    BEGIN {
        lines = split(rooms, line, "\n")
        for (i = 1; i <= lines; ++i)
            if ((n = split(line[i], word, " "))) {
                for (k = 2; k <= n; ++k)
                    if (word[k] != "kestrel" && !holder(word[k])) {
                        printf "CONTRIBUTING.md: %s may include %s, but no room above it holds that\n", word[1], word[k]
                        bad = 1
                    }
                room[word[1]] = 1
                allowed[word[1]] = line[i]
            }
        lines = split(outsiders, line, "\n")
        for (i = 1; i <= lines; ++i)
            if (split(line[i], word, " ")) { outsider[word[1]] = line[i] }
    }
    function starts(text, prefix) { return substr(text, 1, length(prefix)) == prefix }
    function inside(path, folder) { return path == folder || starts(path, folder "/") }
    function holder(path,   r, found) {
        for (r in room) if (inside(path, r) && length(r) > length(found)) found = r
        return found
    }
    function exists(path,   first, status) { status = (getline first < path); close(path); return status >= 0 }
    function complain(why) { printf "%s:%s: %s may not include %s%s\n", file, number, home, header, why; bad = 1 }
    {
        split($0, part, ":"); file = part[1]; number = part[2]
        if (!match($0, /[<"][^>"]*[>"]/)) next
        header = substr($0, RSTART + 1, RLENGTH - 2)
        home = holder(file)
        if (home == "") { printf "%s: no room in the table holds this file\n", file; bad = 1; next }

        if (starts(header, "kestrel/") || starts(header, "apps/")) {
            fine = inside(header, home)
            n = split(allowed[home], word, " ")
            for (i = 2; i <= n; ++i) if (inside(header, word[i])) fine = 1
            if (!fine) complain("")
            # A filter knows no other filter. A filter is a pair XFilter.h, XFilter.cpp; a header alone is a base.
            own = file; sub(/\.(h|cpp)$/, ".h", own)
            other = header; sub(/\.h$/, ".cpp", other)
            if (file ~ /^kestrel\/filters\/[^\/]+\/[^\/]+Filter\.(h|cpp)$/ && header ~ /^kestrel\/filters\/.*Filter\.h$/ &&
                header != own && exists(other)) complain(" (a filter knows no other filter)")
        } else {
            for (o in outsider) if (starts(header, o)) {
                fine = 0
                n = split(outsider[o], word, " ")
                for (i = 2; i <= n; ++i) if (inside(file, word[i])) fine = 1
                if (!fine) complain("")
            }
        }
    }
    END { exit bad }'
