// night.png: a string of lamps and a rocket's trail before a black sky, for double exposures.
#version 3.7;
global_settings { assumed_gamma 1 }

camera { orthographic location <0, 0, -10> look_at 0 right x * 3 up y * 2 }

#macro Glow(Centre, Size, Tone)
  sphere {
    0, 1
    pigment { rgbt 1 }
    hollow
    interior {
      media {
        emission 2.2
        intervals 1
        samples 12
        density {
          spherical
          color_map { [0 rgb 0] [0.5 rgb Tone * 0.15] [1 rgb Tone * 3] }
        }
      }
    }
    scale Size
    translate Centre
  }
#end

#for (I, 0, 8)
  #local X = -1.36 + I * 0.34;
  Glow(<X, 0.62 + 0.11 * X * X, 0>, 0.17, <1, 0.62, 0.22>)
#end
#local Trail = seed(4);
#for (I, 0, 70)
  #local Turn = rand(Trail) * 2 * pi;
  #local Out = sqrt(rand(Trail)) * 0.5;
  Glow(<0.66 + Out * cos(Turn), -0.1 + Out * sin(Turn), 0>, 0.05 + 0.04 * rand(Trail), <0.3 + 0.7 * rand(Trail), 0.35, 1>)
#end
