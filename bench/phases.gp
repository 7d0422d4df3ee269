# Nanoseconds per phase against the number of phases, from phases.tsv: on and off the grid of time steps.
#
#     gnuplot -e "data='phases.tsv'; chart='phases.svg'" phases.gp
set terminal svg size 900,420 font 'DejaVu Sans,13' background '#ffffff'
set output chart
set datafile separator tab
set multiplot layout 1,2 margins 0.07,0.78,0.15,0.90 spacing 0.06
set logscale xy
set xrange [4:625]
set yrange [1:100]
set xtics (5, 50, 500)
set xlabel 'phases'
set grid ytics linecolor '#dddddd'
set key off

# The columns of the operations, and where their names stand: at the last point.
names = 'chain PhasesValid WriteStimCmds edit+WordArray FromString ToString'
colors = '#888888 #0072b2 #009e73 #d55e00 #cc79a7 #56b4e9'
set style data linespoints
set border 3
set tics nomirror
set ylabel 'nanoseconds per phase'
do for [panel = 0:1] {
    set title panel == 0 ? 'Phases on the grid of time steps' : 'Phases off the grid'
    if (panel == 1) { set key at screen 0.99,0.62 right reverse Left samplen 2; unset ylabel }
    plot for [i = 1:6] data using 1:(column(1 + 6 * panel + i)) title word(names, i) \
         linecolor rgb word(colors, i) linewidth 2 pointtype 7 pointsize 0.6
}
unset multiplot
