# Turns the dependency line of `zpc -md` into the rules make needs:
#   - the dependency file is a target beside the object, so it is made
#     again whenever a file it lists changes (a header that starts or stops
#     including another one);
#   - every header gets an empty rule, so a header that has been deleted
#     since does not stop make ("No rule to make target");
#   - blanks, '#' and '$' in names are escaped as make needs (zpc writes a
#     name that holds a blank in quotes).
# usage: zpc -md -o OBJ SOURCE | awk -v obj=OBJ -v dep=DEP -f zpc-deps.awk > DEP
function escape(name) {
    gsub(/\$/, "$$", name)
    gsub(/#/, "\\#", name)
    gsub(/ /, "\\ ", name)
    return name
}
{ text = text $0 "\n" }
END {
    # Long lists are broken with " \" and a newline; the target comes first.
    gsub(/ \\\n/, " ", text)
    gsub(/\n/, "", text)
    if (substr(text, 1, length(obj) + 1) != obj ":") {
        print "zpc-deps.awk: the list does not begin with " obj ":" > "/dev/stderr"
        exit 1
    }
    text = substr(text, length(obj) + 2)
    n = 0
    while (length(text) > 0) {
        c = substr(text, 1, 1)
        if (c == " ") {
            text = substr(text, 2)
        } else if (c == "\"") {
            end = index(substr(text, 2), "\"")
            if (end == 0)
                end = length(text)
            names[++n] = substr(text, 2, end - 1)
            text = substr(text, end + 2)
        } else {
            end = index(text, " ")
            if (end == 0)
                end = length(text) + 1
            names[++n] = substr(text, 1, end - 1)
            text = substr(text, end)
        }
    }
    line = escape(obj) " " escape(dep) ":"
    for (i = 1; i <= n; i++)
        line = line " " escape(names[i])
    print line
    # The first name is the unit's own source, which a pattern rule knows.
    for (i = 2; i <= n; i++)
        print escape(names[i]) ":"
}
