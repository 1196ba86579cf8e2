# Names the includes that break the order of the rooms: each room includes what stands below it, and nothing runs back up.
# Run by ./dev lint over the sources.
BEGIN {
    split("framework messages transport proxies devices network simulation qml apps", rooms)
    for (i in rooms)
        floor[rooms[i]] = i
    # A reply is made for a node, and the dispatcher hands frames to devices.
    allowed["src/messages/voxreply.cpp proxies/voxnode.h"]
    allowed["src/transport/voxbusdispatcher.cpp devices/voxdevice.h"]
    # Of the host's side, the nodes' side knows the node base and the value types.
    shared["proxies/voxnode.h"]
    shared["proxies/kvrstdproxy.h"]
    strangers["network devices"]
    strangers["network simulation"]
    strangers["simulation network"]
}
match($0, /^#[ ]*include ["<][^">]+[">]/) {
    included = substr($0, RSTART, RLENGTH)
    gsub(/^[^"<]*["<]|[">]$/, "", included)
    sub(/^vox\//, "", included)
    split(included, parts, "/")
    split(FILENAME, path, "/")
    from = path[1] == "apps" ? "apps" : path[2]
    to = parts[1]
    if (!(to in floor) || !(from in floor) || from == to || (FILENAME " " included) in allowed)
        next
    if ((from " " to) in strangers)
        why = from " and " to " do not know each other"
    else if (floor[to] > floor[from])
        why = from " stands below " to
    else if (from == "devices" && to == "proxies" && !(included in shared))
        why = "devices know only the base and the values of proxies"
    else
        next
    print FILENAME ":" FNR ": " included ": " why
    broken = 1
}
END { exit broken }
