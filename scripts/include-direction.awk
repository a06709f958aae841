# Holds the include paths to the direction in which the rooms depend on each other.
# usage: list of sources | awk -f include-direction.awk include-rules.txt -
# Reads the rules first and then the list; an include that names a file of the project must name one of the
# room's own or of a room that the rules allow.

function normal(path,    parts, count, kept, i, depth) {
    count = split(path, parts, "/")
    depth = 0
    for (i = 1; i <= count; i++) {
        if (parts[i] == "." || parts[i] == "") continue
        if (parts[i] == ".." && depth > 0) depth--
        else kept[++depth] = parts[i]
    }
    path = ""
    for (i = 1; i <= depth; i++) path = path (i > 1 ? "/" : "") kept[i]
    return path
}

function folder(path) {
    return match(path, /\/[^\/]*$/) ? substr(path, 1, RSTART - 1) : ""
}

function inside(path, room) { return path == room || index(path, room "/") == 1 }

function room_of(path,    room, best) {
    best = ""
    for (room in rules) if (inside(path, room) && length(room) > length(best)) best = room
    return best
}

function allowed(room, target,    list, count, i) {
    if (inside(target, room)) return 1
    count = split(rules[room], list, " ")
    for (i = 1; i <= count; i++) if (list[i] == "*" || inside(target, list[i])) return 1
    return 0
}

# The project's file that an include means, or nothing: the one beside the including file, else the only
# one whose path ends so, else of several one that would be allowed last, so that a wrong one shows.
function resolve(file, room, text,    path, ending, found, i) {
    path = normal(folder(file) "/" text)
    if (path in known) return path
    ending = "/" normal(text)
    sub(/^\/(\.\.\/)+/, "/", ending)
    found = ""
    for (i = 1; i <= files; i++) {
        path = "/" name[i]
        if (length(path) < length(ending)) continue
        if (substr(path, length(path) - length(ending) + 1) != ending) continue
        if (room_of(name[i]) == room) return name[i]
        if (found == "" || !allowed(room, name[i])) found = name[i]
    }
    return found
}

function check(file,    room, line, text, target, number) {
    room = room_of(file)
    if (room == "") {
        printf "%s: in no room of the rules\n", file
        faults++
        return
    }
    number = 0
    while ((getline line < file) > 0) {
        number++
        if (line !~ /^[ \t]*#[ \t]*include[ \t]*[<"]/) continue
        text = line
        sub(/^[^<"]*[<"]/, "", text)
        sub(/[>"].*$/, "", text)
        target = resolve(file, room, text)
        includes++
        if (target == "" || allowed(room, target)) continue
        printf "%s:%d: %s must not include %s\n", file, number, room, target
        faults++
    }
    close(file)
}

FNR == NR {
    if ($0 ~ /^(#|$)/) next
    room = $0
    sub(/:.*/, "", room)
    sub(/^[^:]*:[ \t]*/, "")
    rules[room] = $0
    next
}

{ name[++files] = $0; known[$0] = 1 }

END {
    for (i = 1; i <= files; i++) check(name[i])
    printf "%d includes in %d files\n", includes, files
    if (files == 0 || includes == 0) { print "nothing was checked"; faults++ }
    exit faults > 0
}
