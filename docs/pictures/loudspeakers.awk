# Draws the loudspeakers of angle, pan8 and the cube as SVG: plans seen from above, front upwards.
BEGIN {
    pi = atan2(0, -1)
    print "<svg xmlns='http://www.w3.org/2000/svg' width='760' height='290' viewBox='0 0 760 290'"
    print "  font-family='sans-serif' font-size='14'>"
    print "<rect width='760' height='290' fill='white'/>"

    plan(125, "angle: degrees")
    for (k = 1; k <= 4; ++k) place(125, 90 * k - 135, 90, k, 90 * k - 135 "&#176;")
    plan(370, "pan8: positions")
    for (k = 1; k <= 8; ++k) place(370, 45 * k - 67.5, 90, k, "")

    text(635, 24, "direction, polar: a cube")
    square(635, 90); square(635, 45)
    split("-1 1 1 -1", right, " "); split("1 1 -1 -1", front, " ")
    for (k = 1; k <= 4; ++k) {
        speaker(635 + 90 * right[k], 155 - 90 * front[k], k)
        speaker(635 + 45 * right[k], 155 - 45 * front[k], k + 4)
    }
    text(635, 160, "x &#8594;  y &#8593;")
    text(635, 284, "outer square above, inner below")
    print "</svg>"
}
function plan(x, title) {
    text(x, 24, title)
    printf "<circle cx='%s' cy='155' r='90' fill='none' stroke='#cccccc'/>\n", x
    text(x, 160, "&#8593; front")
}
function place(x, degrees, r, number, label,  s, c) {
    s = sin(degrees * pi / 180); c = cos(degrees * pi / 180)
    speaker(x + r * s, 155 - r * c, number)
    if (label != "") text(x + (r + 12) * s * 0.58, 160 - (r + 12) * c * 0.58, label)
}
function square(x, r) {
    printf "<rect x='%s' y='%s' width='%s' height='%s' fill='none' stroke='#cccccc'/>\n", \
        x - r, 155 - r, 2 * r, 2 * r
}
function speaker(x, y, number) {
    printf "<circle cx='%.1f' cy='%.1f' r='15' fill='#335c81'/>\n", x, y
    printf "<text x='%.1f' y='%.1f' text-anchor='middle' fill='white'>%s</text>\n", x, y + 5, number
}
function text(x, y, what) {
    printf "<text x='%s' y='%s' text-anchor='middle'>%s</text>\n", x, y, what
}
