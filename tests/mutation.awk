# mutation.awk -- the single-line faults that can be put into a source, a row each:
#
#   file TAB line TAB the line with the fault TAB the line with the fault behind a switch, its number as @N@
#
# Faults: a condition is negated; a comparison, a logical or an arithmetic operator becomes its neighbour; a constant
# changes; a statement is left out. Lines that need more than one line to be understood are left alone. What does
# not compile is dropped by mutation.sh.

# The text with the insides of literals blanked, in the same places.
function masked(text,    out, i, c, quote) {
    out = ""; quote = ""
    for (i = 1; i <= length(text); i++) {
        c = substr(text, i, 1)
        if (quote != "") {
            if (c == "\\") { out = out "__"; i++; continue }
            if (c == quote) quote = ""
            out = out (quote == "" ? c : "_")
        } else {
            if (c == "\"" || (c == "'" && substr(text, i - 1, 1) !~ /[0-9]/)) quote = c
            out = out c
        }
    }
    return out
}

function balanced(text,    i, c, depth) {
    depth = 0
    for (i = 1; i <= length(text); i++) {
        c = substr(text, i, 1)
        if (c ~ /[([{]/) depth++
        if (c ~ /[])}]/ && --depth < 0) return 0
    }
    return depth == 0
}

function row(shown, switched) {
    if (shown != $0) printf "%s\t%d\t%s\t%s\n", FILENAME, FNR, shown, switched
}

# All faults of an expression. "wrap" is bool for conditions.
function expression(before, text, after, wrap,    mask, i, j, from, to) {
    mask = masked(text)
    if (!balanced(mask) || mask ~ /\[[&=a-z]*\][^;]*\{/) return
    if (wrap != "") fault(before, text, after, wrap, "!(" text ")")
    for (i = 1; i <= numOperators; i++) {
        from = operators[i, 1]; to = operators[i, 2]
        for (j = 1; j <= length(mask) - length(from) + 1; j++)
            if (substr(mask, j, length(from)) == from &&
                (from ~ /^ / || (substr(" " mask, j, 1) !~ /[A-Za-z0-9_.:']/ &&
                                 substr(mask " ", j + length(from), 1) !~ /[A-Za-z0-9_.:']/)))
                fault(before, text, after, wrap,
                      substr(text, 1, j - 1) to substr(text, j + length(from)))
    }
}

function fault(before, text, after, wrap, changed) {
    row(before changed after,
        before "Mutant(@N@) ? " wrap "(" changed ") : " wrap "(" text ")" after)
}

BEGIN {
    between("<", "<="); between("<=", "<"); between(">", ">="); between(">=", ">")
    between("==", "!="); between("!=", "=="); between("&&", "||"); between("||", "&&")
    between("+", "-"); between("-", "+"); between("&", "|"); between("|", "&")
    word("true", "false"); word("false", "true"); word("TRUE", "FALSE"); word("FALSE", "TRUE")
    word("0", "1"); word("1", "2")
}
function between(from, to) { word(" " from " ", " " to " ") }
function word(from, to) { operators[++numOperators, 1] = from; operators[numOperators, 2] = to }

FNR == 1 { isComment = 0; before = ";" }
/^[ \t]*\/\*/ && !/\*\// { isComment = 1 }
isComment { if (/\*\//) isComment = 0; next }
/^[ \t]*(\/\/|\/\*|#|$)/ { next }
{
    line = $0
    mask = masked(line)
    sub(/ *(\/\/.*|\/\*.*\*\/)$/, "", mask)
    line = substr(line, 1, length(mask))
    isWhole = before ~ /[;{}:)]$/ || before ~ /else$/
    before = mask
    if (!isWhole || !balanced(masked(line) ~ /\{$/ ? substr(mask, 1, length(mask) - 1) : mask)) {
        if (mask !~ /^ *\} else if \(.*\{$/) next
    }
    if (mask ~ /(constexpr|constinit|static_assert|template|using |typedef|enum |case |default:|operator)/) next
    if (match(mask, /^ *(\} else |else )?(if|while) \(/)) {
        start = RLENGTH
        end = mask ~ /\) \{$/ ? length(mask) - 3 : length(mask) - 1
        if (mask !~ /\)( \{)?$/) next # a statement on the same line
        condition = substr(line, start + 1, end - start)
        if (substr(mask, start + 1, end - start) !~ /;| = /)
            expression(substr(line, 1, start), condition, substr(line, end + 1), "bool")
    } else if (match(mask, /^ *for \([^;:]*; /)) {
        start = RLENGTH
        rest = substr(mask, start + 1)
        if ((end = index(rest, ";")) > 1)
            expression(substr(line, 1, start), substr(line, start + 1, end - 1),
                       substr(line, start + end), "bool")
    } else if (match(mask, /^ *return [^{;]*;$/)) {
        start = index(mask, "return ") + 6
        expression(substr(line, 1, start), substr(line, start + 1, length(mask) - start - 1), ";", "")
    } else if (match(mask, /^ *[A-Za-z_][A-Za-z0-9_:<>*&., \->\[\]]* [+|-]?= [^{;]*;$/)) {
        start = match(mask, / [+|-]?= /) + RLENGTH - 1
        expression(substr(line, 1, start), substr(line, start + 1, length(mask) - start - 1), ";", "")
        if (mask ~ /^ *[A-Za-z_][A-Za-z0-9_.>\-\[\]]* [+|-]?= /) left_out()
    } else if (mask ~ /^ *[A-Za-z_][A-Za-z0-9_:.>\-]*\(.*\);$/ || mask ~ /^ *(\+\+|--)?[A-Za-z_][A-Za-z0-9_.>\-]*(\+\+|--)?;$/) {
        if (mask !~ /^ *(return|break|continue)/) left_out()
    }
}

function left_out(    indent, statement) {
    match(line, /^ */)
    indent = substr(line, 1, RLENGTH)
    statement = substr(line, RLENGTH + 1)
    row(indent "/* left out: " statement " */",
        indent "do { if (!Mutant(@N@)) { " statement " } } while (0);")
}
