# What a sample of one channel costs over the length of the blocks: a column for each convolver, the last one the bound.
# Arguments: the table, and the picture to draw.
table = ARG1
picture = ARG2
load ARG0[1:strstrt(ARG0, "plot-cost.gp")-1]."plot-style.gp"

stats table using 1 every ::1 name "block" nooutput
columns = system(sprintf("head -n 1 '%s' | tr -cd , | wc -c", table)) + 1

set logscale xy
set yrange [*:*] noextend
set xrange [block_min * 0.9:block_max * 1.1]
set xlabel "Frames in a block"
set ylabel "Time per sample and channel (ns)"
set xtics (48, 64, 128, 256, 480, 1024, 2048, 4096, 8192)
set ytics (0.5, 1, 2, 5, 10, 20, 50, 100, 200)
colours = "#888888 #1f5fa8 #d06010 #2e8b57 #7a4fa3 #a01830 #b08a00"
plot for [c = 2:columns-1] table using 1:c with linespoints pointtype 7 pointsize 0.6 linewidth 2 \
         linecolor rgb word(colours, c - 1) title columnheader(c), \
     table using 1:columns with lines dashtype 2 linewidth 2 linecolor rgb "#222222" title columnheader(columns)
