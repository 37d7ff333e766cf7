# Draws a fog's envelope as SVG, from the formulas by which the object computes it.
BEGIN {
    pi = atan2(0, -1)
    tex = 6; debatt = 24; atten = 16; bw = 12 # ms, Hz
    left = 60; base = 250; high = 190; wide = 15 # px; wide: of 1 ms
    print "<svg xmlns='http://www.w3.org/2000/svg' width='760' height='400' viewBox='0 0 760 400'"
    print "  font-family='sans-serif' font-size='14'>"
    print "<rect width='760' height='400' fill='white'/>"
    curve("decay", 45, "#999999' stroke-dasharray='5 4")
    curve("envelope", debatt + atten, "#b0413e' stroke-width='3")
    line(left, base, 740, base, "black")
    line(left, base, left, base - high - 20, "black")
    text(left - 12, base - high + 5, "1", "end"); text(left - 12, base + 5, "0", "end")
    for (ms = 0; ms <= 40; ms += 10) {
        line(at(ms), base, at(ms), base + 5, "black")
        text(at(ms), base + 20, ms, "middle")
    }
    text(at(46), base - 8, "ms since the onset", "end"); text(left - 12, base - high / 2, "level", "end")
    text(at(13), base - high * decay(13) - 22, "bw: this curve is exp(-&#960; &#183; bw &#183; t), here bw = " bw " Hz", "start")
    arrow(0, tex, 290, "tex " tex)
    arrow(debatt, debatt + atten, 290, "atten " atten)
    arrow(0, debatt, 320, "debatt " debatt ", from the onset")
    for (ms = tex; ms <= debatt + atten; ms += ms == tex ? debatt - tex : atten)
        line(at(ms), base + 28, at(ms), ms == tex ? 295 : 325, "#cccccc")
    print "<rect x='" left "' y='345' width='" 40 * wide "' height='20' fill='#d9e4ee'/>"
    text(at(20), 360, "all: a sample of this length lets the attenuation end here (offset 0)", "middle")
    text(at(20), 388, "debatt = length / transposition - atten", "middle")
    line(at(40), 325, at(40), 365, "#cccccc")
    print "</svg>"
}
function at(ms) { return left + ms * wide }
function decay(ms) { return exp(-pi * bw * ms / 1000) }
function envelope(ms) {
    if (ms < tex) return decay(ms) * (1 - cos(pi * ms / tex)) / 2
    if (ms < debatt) return decay(ms)
    return decay(ms) * (1 + cos(pi * (ms - debatt) / atten)) / 2
}
function curve(what, end, stroke,  ms) {
    printf "<polyline fill='none' stroke='%s' points='", stroke
    for (ms = 0; ms <= end + 1e-9; ms += 0.25)
        printf "%.1f,%.1f ", at(ms), base - high * (what == "decay" ? decay(ms) : envelope(ms))
    print "'/>"
}
function line(x1, y1, x2, y2, stroke) {
    printf "<line x1='%s' y1='%s' x2='%s' y2='%s' stroke='%s'/>\n", x1, y1, x2, y2, stroke
}
function text(x, y, what, anchor) {
    printf "<text x='%s' y='%s' text-anchor='%s'>%s</text>\n", x, y, anchor, what
}
function arrow(from, to, y, label) {
    line(at(from) + 2, y, at(to) - 2, y, "#335c81")
    line(at(from) + 2, y - 4, at(from) + 2, y + 4, "#335c81")
    line(at(to) - 2, y - 4, at(to) - 2, y + 4, "#335c81")
    text(at((from + to) / 2), y - 6, label, "middle")
}
