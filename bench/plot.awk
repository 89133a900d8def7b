# plot.awk RESULTS: the time on the processor over the size, both logarithmic, as SVG. Dashed: the floor.

function x(size) { return 60 + 180 * (log(size) / log(10) - 1) }
function y(time) { return 20 + 360 - 51 * (log(time) / log(10) - 3) }
function label(left, top, anchor, text) {
    printf "<text x=\"%d\" y=\"%d\" text-anchor=\"%s\">%s</text>\n", left, top, anchor, text
}

BEGIN {
    print "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 740 420\" font-family=\"sans-serif\" font-size=\"12\">"
    print "<rect width=\"740\" height=\"420\" fill=\"white\"/>"
    split("1 us,10 us,100 us,1 ms,10 ms,100 ms,1 s,10 s", unit, ",")
    for (i = 0; i <= 7; ++i) {
        printf "<path d=\"M60 %dH600\" stroke=\"#ddd\"/>\n", y(10 ^ (i + 3))
        label(54, y(10 ^ (i + 3)) + 4, "end", unit[i + 1])
    }
    for (i = 1; i <= 4; ++i)
        label(x(10 ^ i), 400, "middle", 10 ^ i)
    split("#c33 #36c #393 #a5a", color, " ")
}

$4 == "cpu" && $1 ~ /^(decode|order|start|change-set)$/ {
    if (!($1 in seen))
        name[seen[$1] = ++n] = $1
    work[$1] = work[$1] (work[$1] ? "L" : "M") x($2) " " y($6)
    floor[$1] = floor[$1] (floor[$1] ? "L" : "M") x($2) " " y($5)
    last[$1] = $6
}

END {
    for (i = 1; i <= n; ++i) {
        printf "<path d=\"%s\" stroke=\"%s\" stroke-width=\"2\" fill=\"none\"/>\n", work[name[i]], color[i]
        printf "<path d=\"%s\" stroke=\"%s\" stroke-dasharray=\"4\" fill=\"none\"/>\n", floor[name[i]], color[i]
        label(606, y(last[name[i]]) + 4 + (name[i] == "start" ? -6 : name[i] == "change-set" ? 6 : 0), "start", name[i])
    }
    print "</svg>"
}
