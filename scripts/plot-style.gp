# What the pictures share. `picture` is where it goes; its ending chooses SVG or PNG.

if (picture[strlen(picture)-3:*] eq ".svg") {
    set terminal svg size 1000,500 enhanced font "sans-serif,15" background "white"
} else {
    set terminal pngcairo size 1500,750 enhanced font "sans-serif,14" fontscale 1.25 linewidth 1.5
}
set output picture
set datafile separator ","
set datafile missing ""
set encoding utf8
set border 3 linecolor rgb "#555555"
set tics nomirror textcolor rgb "#222222"
set grid xtics ytics linecolor rgb "#dddddd" linetype 1 linewidth 0.6
set key outside top center horizontal Left reverse samplen 2.5 width 1 noenhanced
set style line 1 linecolor rgb "#1f5fa8" linewidth 2
set style line 2 linecolor rgb "#d06010" linewidth 2
set style line 3 linecolor rgb "#a01830" linewidth 1.6
