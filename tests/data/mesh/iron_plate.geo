// A unit box of air holding an iron block with a cylindrical hole along z and a copper plate.
// The cross-section in the xy-plane is meshed in 2-D and extruded through five layers whose
// planes are the z-limits of the block and the plate, so every material is a union of layers.
// -setnumber hexprism 1 makes structured layers of hexahedra and prisms; 0 a free tetrahedral mesh.
DefineConstant[ hexprism = 0, lc = 0.3 ];
r = 0.1; cx = 0.4; cy = 0.5;
If (!hexprism)
  lc = 0.45; // coarser: the free tetrahedral mesh has many more elements per layer
EndIf

// Outer square, iron square [0.2,0.6]x[0.3,0.7], plate rectangle [0.7,0.8]x[0.2,0.8].
Point(1) = {0, 0, 0, lc}; Point(2) = {1, 0, 0, lc}; Point(3) = {1, 1, 0, lc}; Point(4) = {0, 1, 0, lc};
Point(5) = {0.2, 0.3, 0, lc}; Point(6) = {0.6, 0.3, 0, lc}; Point(7) = {0.6, 0.7, 0, lc}; Point(8) = {0.2, 0.7, 0, lc};
Point(9) = {0.7, 0.2, 0, lc}; Point(10) = {0.8, 0.2, 0, lc}; Point(11) = {0.8, 0.8, 0, lc}; Point(12) = {0.7, 0.8, 0, lc};
Point(13) = {cx, cy, 0, lc}; Point(14) = {cx + r, cy, 0, lc / 2}; Point(15) = {cx, cy + r, 0, lc / 2};
Point(16) = {cx - r, cy, 0, lc / 2}; Point(17) = {cx, cy - r, 0, lc / 2};
Line(1) = {1, 2}; Line(2) = {2, 3}; Line(3) = {3, 4}; Line(4) = {4, 1};
Line(5) = {5, 6}; Line(6) = {6, 7}; Line(7) = {7, 8}; Line(8) = {8, 5};
Line(9) = {9, 10}; Line(10) = {10, 11}; Line(11) = {11, 12}; Line(12) = {12, 9};
Circle(13) = {14, 13, 15}; Circle(14) = {15, 13, 16}; Circle(15) = {16, 13, 17}; Circle(16) = {17, 13, 14};
// Two segments per quarter circle: the hole's cross-section is a regular octagon.
Transfinite Curve{13, 14, 15, 16} = 3;
Curve Loop(1) = {1, 2, 3, 4}; Curve Loop(2) = {5, 6, 7, 8}; Curve Loop(3) = {9, 10, 11, 12};
Curve Loop(4) = {13, 14, 15, 16};
Plane Surface(1) = {1, 2, 3}; // air around
Plane Surface(2) = {2, 4};    // iron cross-section
Plane Surface(3) = {3};       // plate cross-section
Plane Surface(4) = {4};       // the hole
If (hexprism)
  Recombine Surface{1, 2};    // quadrilaterals where they fit; the plate and the hole stay triangles
EndIf

zs[] = {0, 0.2, 0.3, 0.7, 0.8, 1.0};
nl[] = {1, 1, 2, 1, 1};
air[] = {}; iron[] = {}; copper[] = {};
base[] = {1, 2, 3, 4};
For k In {0 : 4}
  For s In {0 : 3}
    If (hexprism)
      out[] = Extrude {0, 0, zs[k + 1] - zs[k]} { Surface{base[s]}; Layers{nl[k]}; Recombine; };
    Else
      out[] = Extrude {0, 0, zs[k + 1] - zs[k]} { Surface{base[s]}; };
      If (s == 3)
        // The hole's wall: structured, so that its facets join neighbouring circle nodes
        // and the hole is exactly the prism on the octagon.
        For w In {2 : 5}
          bnd[] = Boundary{ Surface{out[w]}; };
          Transfinite Curve{Abs(bnd[1]), Abs(bnd[3])} = 2;
          Transfinite Curve{Abs(bnd[2])} = 3;
          Transfinite Surface{out[w]};
        EndFor
      EndIf
    EndIf
    top[s] = out[0];
    If (s == 1 && k == 2)
      iron[] += out[1];
    ElseIf (s == 2 && k >= 1 && k <= 3)
      copper[] += out[1];
    Else
      air[] += out[1];
    EndIf
  EndFor
  base[] = top[];
EndFor
Coherence;
Printf("iron %g copper %g %g %g", iron[0], copper[0], copper[1], copper[2]);
Physical Volume(1) = {air[]};
Physical Volume(2) = {iron[]};
Physical Volume(3) = {copper[]};
