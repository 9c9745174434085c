#!/bin/sh
# Checks that includes run one way between the folders, and that each outside library is met in its own room only.
# The two tables below are the rules. A reason to change them is a reason to talk first.
set -eu
cd "$(dirname "$0")/.."

# room: path prefixes that its files may include beside their own room. The longest room that holds a file counts.
rooms='
kestrel/foundation
kestrel/diagnostics         kestrel/foundation kestrel/settings
kestrel/settings            kestrel/foundation
kestrel/image               kestrel/foundation
kestrel/kernels             kestrel/foundation/Truncate.h kestrel/foundation/Export.h
kestrel/passes              kestrel/foundation kestrel/image kestrel/kernels
kestrel/parameters          kestrel/foundation
kestrel/framework           kestrel/foundation kestrel/image kestrel/kernels kestrel/parameters kestrel/diagnostics kestrel/storage
kestrel/filters             kestrel/foundation kestrel/image kestrel/kernels kestrel/passes kestrel/parameters kestrel/framework kestrel/diagnostics
kestrel/server              kestrel/foundation kestrel/parameters kestrel/framework kestrel/filters kestrel/settings
kestrel/codec               kestrel/foundation kestrel/image
kestrel/storage             kestrel/foundation kestrel/image kestrel/diagnostics
kestrel/storage/compound    kestrel/foundation
kestrel/box                 kestrel/foundation kestrel/image kestrel/diagnostics kestrel/storage kestrel/codec
kestrel/dialogs             kestrel
kestrel/host                kestrel/foundation kestrel/image kestrel/kernels kestrel/parameters kestrel/framework kestrel/server kestrel/codec kestrel/storage
apps/kestrel                kestrel/foundation kestrel/parameters kestrel/host kestrel/codec kestrel/diagnostics kestrel/settings kestrel/storage
apps/darkroom               kestrel/foundation kestrel/host kestrel/dialogs
'

# outside header (a prefix): rooms that may include it.
outsiders='
hwy/            kestrel/kernels
jpeglib.h       kestrel/codec
png.h           kestrel/codec
tiff            kestrel/codec
libraw/         kestrel/codec
magick/         kestrel/codec
zlib.h          kestrel/storage kestrel/codec
pango/          kestrel/host
cairo           kestrel/host
sqlite3.h       kestrel/settings
CLI/            apps/kestrel
nlohmann/       apps/kestrel
Q               kestrel/dialogs apps/darkroom
'

find kestrel apps -type f \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 grep -Hn '^[[:space:]]*#[[:space:]]*include' |
    awk -v rooms="$rooms" -v outsiders="$outsiders" '
    BEGIN {
        lines = split(rooms, line, "\n")
        for (i = 1; i <= lines; ++i)
            if (split(line[i], word, " ")) { room[word[1]] = 1; allowed[word[1]] = line[i] }
        lines = split(outsiders, line, "\n")
        for (i = 1; i <= lines; ++i)
            if (split(line[i], word, " ")) { outsider[word[1]] = line[i] }
    }
    function starts(text, prefix) { return substr(text, 1, length(prefix)) == prefix }
    function inside(path, folder) { return path == folder || starts(path, folder "/") }
    function exists(path,   first, status) { status = (getline first < path); close(path); return status >= 0 }
    function complain(why) { printf "%s:%s: %s may not include %s%s\n", file, number, home, header, why; bad = 1 }
    {
        split($0, part, ":"); file = part[1]; number = part[2]
        if (!match($0, /[<"][^>"]*[>"]/)) next
        header = substr($0, RSTART + 1, RLENGTH - 2)
        home = ""
        for (r in room) if (inside(file, r) && length(r) > length(home)) home = r
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
