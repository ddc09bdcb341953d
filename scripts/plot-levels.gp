# Levels before and after the effect over time, and how far the limiter turned the sound down.
# Arguments: the table, and the picture to draw.
table = ARG1
picture = ARG2
load ARG0[1:strstrt(ARG0, "plot-levels.gp")-1]."plot-style.gp"

larger(a, b) = a > b ? a : b
stats table using 1:4 every ::1 name "level" nooutput
measured = 0
reduction(cell) = strlen(cell) > 0 ? (measured = 1, real(cell)) : 0
stats table using (reduction(strcol(6))) every ::1 name "limiter" nooutput

set multiplot layout 2,1 margins 0.075,0.97,0.12,0.92 spacing 0,0.05
set xrange [0:level_max_x * 1.003]

set ylabel "Level (dB of full scale)"
set yrange [-90:larger(6, level_max_y + 3)]
set ytics 20
set format x ""
plot table using 1:2 with lines linecolor rgb "#9dbfe3" linewidth 1.2 title "peak before", \
     table using 1:4 with lines linecolor rgb "#f0b888" linewidth 1.2 title "peak after", \
     table using 1:3 with lines linestyle 1 title "RMS before", \
     table using 1:5 with lines linestyle 2 title "RMS after"

set ylabel "Limiter gain (dB)"
set xlabel "Time (s)"
set format x "%g"
lowest = -1.1 * larger(1, limiter_max)
set yrange [lowest:-0.05 * lowest]
set ytics auto
if (!measured) {
    set label 1 "no limiter to measure" at graph 0.5, 0.5 center
}
plot table using 1:(-$6) with filledcurves y=0 fillcolor rgb "#e5b5bd" notitle, \
     table using 1:(-$6) with lines linestyle 3 notitle
unset multiplot
