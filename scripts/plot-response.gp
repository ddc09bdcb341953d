# Magnitude and phase of the equalizer over frequency, with the points that were asked for.
# Arguments: the table, and the picture to draw.
table = ARG1
picture = ARG2
load ARG0[1:strstrt(ARG0, "plot-response.gp")-1]."plot-style.gp"

is(kind, value) = strcol(1) eq kind ? value : NaN

set logscale x
set xrange [20:20000]
frequencies = "20 50 100 200 500 1000 2000 5000 10000 20000"
set multiplot layout 2,1 margins 0.075,0.97,0.12,0.92 spacing 0,0.05

set ylabel "Gain (dB)"
set offsets 0, 0, 1, 1
set ytics auto
set for [f in frequencies] xtics add ("" real(f))
plot table using 2:(is("response", $3)) with lines linecolor rgb "#f3c9a5" linewidth 6 title "wanted response", \
     table using 2:(is("response", $4)) with lines linestyle 1 title "designed filter", \
     table using 2:(is("point", $3)) with points pointtype 7 pointsize 1.3 linecolor rgb "#d06010" title "points of the settings"

set ylabel "Phase (degrees)"
set xlabel "Frequency (Hz)"
set for [f in frequencies] xtics add ((real(f) < 1000 ? f : sprintf("%g k", real(f) / 1000)) real(f))
plot table using 2:(is("response", $5)) with lines linestyle 1 notitle
unset multiplot
