// vignette.png: an oval that is white in its middle and fades to black, for masks.
#version 3.7;
global_settings { assumed_gamma 1 }

camera { orthographic location <0, 0, -1> look_at 0 right x * 3 up y * 2 }

plane {
  z, 0
  pigment {
    function { 1 - min(1, sqrt(x * x / 2.5 + y * y / 1.1)) }
    color_map { [0 srgb 0] [0.04 srgb 0.02] [0.36 srgb 0.92] [0.48 srgb 1] [1 srgb 1] }
  }
  finish { ambient 0 diffuse 0 emission 1 }
}
