// screen.png: a grey screen with a page, two coloured charts and a row of icons. Flat colours, so that
// methods which look for exact colours find them.
#version 3.7;
global_settings { assumed_gamma 1 }

// One unit is one pixel; y runs upward from the bottom.
camera { orthographic location <180, 120, -10> look_at <180, 120, 0> right x * 360 up y * 240 }

#macro Flat(Red, Green, Blue)
  pigment { srgb <Red, Green, Blue> / 255 }
  finish { ambient 0 diffuse 0 emission 1 }
#end
#macro Area(Left, Bottom, Width, Height, Depth, Tone)
  box { <Left, Bottom, -Depth>, <Left + Width, Bottom + Height, 0> Flat(Tone.x, Tone.y, Tone.z) }
#end
#macro Words(Content, Size, Left, Bottom, Tone)
  text { ttf "cyrvetic.ttf" Content 0.1, 0 scale <Size, Size, 1> translate <Left, Bottom, -3> Flat(Tone.x, Tone.y, Tone.z) }
#end
#macro Star(Across, Up, Tone)
  disc { <Across, Up, -3>, -z, 11 Flat(Tone.x, Tone.y, Tone.z) }
  prism {
    linear_spline 0, 0.1, 11
    #for (I, 0, 10)
      #local R = (mod(I, 2) = 0 ? 9 : 3.7);
      <R * sin(I * pi / 5), R * cos(I * pi / 5)>
    #end
    rotate x * -90
    translate <Across, Up, -4>
    Flat(255, 200, 40)
  }
#end

background { srgb <168, 168, 168> / 255 }
Area(0, 216, 360, 24, 1, <96, 96, 96>)
Words("Report.txt", 15, 12, 223, <255, 255, 255>)
Area(20, 12, 250, 192, 1, <255, 255, 255>)
Words("Sales by colour", 17, 34, 180, <40, 40, 40>)
Words("All figures in thousands, without", 10.5, 34, 163, <80, 80, 80>)
Words("those of the last quarter.", 10.5, 34, 150, <80, 80, 80>)
Area(34, 60, 18, 40, 2, <214, 40, 40>)
Area(56, 60, 18, 62, 2, <32, 96, 192>)
Area(78, 60, 18, 74, 2, <40, 160, 72>)
Area(100, 60, 18, 28, 2, <214, 40, 40>)
Words("2023", 10, 62, 45, <80, 80, 80>)
cylinder { <200, 96, -2>, <200, 96, -1>, 34 Flat(32, 96, 192) }
intersection {
  cylinder { <200, 96, -2.5>, <200, 96, -1>, 34 }
  box { <200, 96, -3>, <240, 140, 0> }
  Flat(214, 40, 40)
}
Words("2024", 10, 188, 45, <80, 80, 80>)
Words("Printed on grey paper, page 1", 10.5, 34, 20, <80, 80, 80>)
Star(315, 180, <32, 96, 192>)
Star(315, 130, <40, 160, 72>)
Star(315, 80, <96, 96, 96>)
