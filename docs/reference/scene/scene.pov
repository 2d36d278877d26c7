// scene.png: the still life in daylight.
#version 3.7;
global_settings { assumed_gamma 1 }
#include "still-life.inc"

light_source { <-7, 9, -8> rgb <1.0, 0.96, 0.88> * 1.1 area_light x * 2, y * 2, 4, 4 adaptive 1 }
light_source { <8, 5, -9> rgb <0.55, 0.65, 0.85> * 0.35 shadowless }

sky_sphere {
  pigment {
    gradient y
    color_map { [0 rgb <0.66, 0.80, 0.93>] [0.10 rgb <0.36, 0.60, 0.88>] [0.4 rgb <0.08, 0.24, 0.62>] }
  }
  pigment {
    bozo
    turbulence 0.6
    octaves 4
    color_map { [0 rgbt <1, 1, 1, 1>] [0.5 rgbt <1, 1, 1, 1>] [0.8 rgbt <1, 0.99, 0.97, 0.1>] }
    scale <0.5, 0.14, 0.4>
    translate <0.35, 0.05, 0>
  }
}
// Hills far away.
plane { y, -1.2 pigment { rgb <0.25, 0.38, 0.16> } finish { diffuse 0.7 ambient 0.12 } }
sphere { 0, 1 scale <16, 4.6, 6> translate <-11, -1.6, 26> pigment { rgb <0.26, 0.40, 0.33> } finish { diffuse 0.55 ambient 0.2 } }
sphere { 0, 1 scale <20, 4.4, 6> translate <12, -1.6, 30> pigment { rgb <0.36, 0.49, 0.48> } finish { diffuse 0.5 ambient 0.25 } }

object { Table }
object { Things }
