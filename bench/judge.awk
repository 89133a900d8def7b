# judge.awk RESULTS LIMITS: the table of what is limited, then the ratios of the times.

FNR == NR {
    count[$1, $2, $4] = $3
    floor[$1, $2, $4] = $5
    work[$1, $2, $4] = $6
    if ($4 == "cpu" || $4 == "wall")
        times[++n] = $1 SUBSEP $2 SUBSEP $4
    next
}

/^#/ || NF == 0 { next }

FNR != NR {
    if (!head++)
        printf "%-16s %6s  %-13s %-6s %10s %10s\n", "", "size", "", "", "figure", "limit"

    key = $1 SUBSEP $2 SUBSEP $3
    if (!(key in work)) {
        print $1, $2, $3 ": not measured"
        failed = 1
        next
    }
    figure = $4 == "ratio" ? work[key] / floor[key] : (work[key] - ($4 == "more" ? floor[key] : 0)) / count[key]
    verdict = figure <= $5 ? "" : "  EXCEEDED"
    printf "%-16s %6d  %-13s %-6s %10.2f %10.2f%s\n", $1, $2, $3, $4, figure, $5, verdict
    failed = failed || verdict != ""
}

END {
    printf "\n%-16s %6s  %-6s %18s %14s\n", "", "size", "", "ratio to the floor", "each, in us"
    for (i = 1; i <= n; ++i) {
        split(times[i], part, SUBSEP)
        printf "%-16s %6d  %-6s %18.2f %14.2f\n", part[1], part[2], part[3], work[times[i]] / floor[times[i]],
               work[times[i]] / count[times[i]] / 1000
    }
    exit failed
}
