# ros2-scale.gp - what each further reader of a camera costs. Variables: data (rows of ros2-scale.sh), picture (.svg).
set terminal svg size 800,420 font "sans,12" background rgb "white"
set output picture
set xlabel "readers of one camera, each on a host of its own"
set ylabel "milliseconds of processor time for an image"
set y2label "bytes sent for each byte of an image"
set xrange [0:9]
set yrange [0:*]
set y2range [0:4]
set ytics nomirror
set y2tics
set grid
set key top left
plot data using ($1==1?$2:NaN):5 with linespoints title "at the camera's host", \
     data using ($1==1?$2:NaN):6 with linespoints title "at a reader's host", \
     data using ($1==1?$2:NaN):7 axes x1y2 with linespoints title "bytes on the camera's wire (right)"
