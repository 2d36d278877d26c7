// cutout.png: the still life with nothing behind it; what is not there is transparent.
#version 3.7;
global_settings { assumed_gamma 1 }
#include "still-life.inc"

light_source { <-7, 9, -8> rgb <1.0, 0.96, 0.88> * 1.1 }
light_source { <8, 5, -9> rgb <0.55, 0.65, 0.85> * 0.35 shadowless }

object { Things }
