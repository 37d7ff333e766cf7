# Draws what a fog costs against the number of fogs and the vector size: CSV, folder.
set datafile separator ","
set terminal svg size 760,360 font "sans-serif,14" background "white"
set logscale x 2
set yrange [0:5]
set ytics 1
set ylabel "ns per fog and sample"
set grid ytics lc "#dddddd"
set border 3
set tics nomirror
set key top right
of(name, column) = strcol(1) eq name ? column : NaN

set output ARG2."/speed-fogs.svg"
set xlabel "fogs that sound at once"
set xtics (1, 2, 4, 8, 16, 32, 64, 100)
set xrange [1:100]
plot ARG1 using 2:(of("fogs", $3)) with linespoints pt 7 ps 0.5 lw 2 lc "#999999" title "plain loops", \
     ARG1 using 2:(of("fogs", $4)) with linespoints pt 7 ps 0.5 lw 2 lc "#b0413e" title "fast path"

set output ARG2."/speed-vector.svg"
set xlabel "vector size, in frames"
set xtics (16, 32, 64, 128, 256, 512, 1024, 2048)
set xrange [16:2048]
plot ARG1 using 2:(of("vector", $3)) with linespoints pt 7 ps 0.5 lw 2 lc "#999999" title "plain loops", \
     ARG1 using 2:(of("vector", $4)) with linespoints pt 7 ps 0.5 lw 2 lc "#b0413e" title "fast path"
