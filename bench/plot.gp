# plot.gp - time over image size, both logarithmic: a cost that is linear in pixels is a line of slope one.
# Variables: data (blocks of pixels and milliseconds, the reference and the fastest tier of each kernel in turn),
# picture (.png or .svg).
set terminal pngcairo size 1000,700 font "sans,10"
if (picture[strlen(picture)-3:*] eq ".svg") set terminal svg size 1000,700 font "sans,12" background rgb "white"
set output picture
set logscale xy
set xlabel "pixels"
set ylabel "milliseconds of processor time"
set xtics ("640x480" 307200, "1280x720" 921600, "1920x1080" 2073600, "2592x1944" 5038848, "4000x3000" 12000000)
set xrange [250000:15000000]
set grid
set key outside right
blocks = int(system("grep -c '\"' ".data))
plot for [i=0:blocks-1] data index i using 1:2 with linespoints \
        linecolor i/2+1 dashtype 3-2*(i%2) pointtype 6+i%2 title columnheader(1), \
     x*1e-6 with lines linecolor rgb "gray" dashtype 2 title "1 ns a pixel"
