# A loud passage as it is, with the limiter that bends the waveform and with the one that turns it down.
# Arguments: the table, and the picture to draw.
table = ARG1
picture = ARG2
load ARG0[1:strstrt(ARG0, "plot-limiters.gp")-1]."plot-style.gp"

larger(a, b) = a > b ? a : b
stats table using 1:2 every ::1 name "off" nooutput
stats table using 4 every ::1 name "clean" nooutput
raised = larger(clean_max, -clean_min) / larger(off_max_y, -off_min_y)
set style line 4 linecolor rgb "#bbbbbb" linewidth 1.5

set multiplot layout 3,1 margins 0.075,0.97,0.12,0.92 spacing 0,0.03
set xrange [off_min_x:off_max_x]
set yrange [-1.1:1.1]
set ytics 0.5
set xtics 0.01
set format x ""
plot table using 1:2 with lines linestyle 1 title "off", \
     NaN with lines linestyle 3 title "--limit, +12 dB", \
     NaN with lines linestyle 2 title "--clean, +12 dB", \
     NaN with lines linestyle 4 title "off, drawn as high"
set ylabel "Sample"
plot table using 1:($2*raised) with lines linestyle 4 notitle, \
     table using 1:3 with lines linestyle 3 notitle
unset ylabel
set xlabel "Time (s)"
set format x "%g"
plot table using 1:($2*raised) with lines linestyle 4 notitle, \
     table using 1:4 with lines linestyle 2 notitle
unset multiplot
