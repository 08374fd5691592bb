// TEAM problem 7: an aluminium plate with an off-centre square hole, under a racetrack coil, in a
// box of air. The coil (z = 49..149 mm) is a RECT element of the input deck, evaluated by
// Biot-Savart, and is not meshed.
// Plate: 0 <= x, y <= 294 mm, 0 <= z <= 19 mm, hole 18 <= x, y <= 126 mm through it. The plate is
// a structured mesh: its bottom face is a grid of squares of 18 mm / (refine + 1) cut into
// triangles, extruded through the thickness in 4 + 2 refine layers of tetrahedra (three to a
// prism). The 18 mm pitch is that of the measurement points, so the grid puts nodes on the
// plate's top face at every Jy point (x = 0, 18, 126, ..., 288 mm, y = 72 mm), three of them on the
// plate's edges; the thickness (skin depth 12 mm at 50 Hz, 6 mm at 200 Hz) gets 4 layers of 4.75 mm at
// refine 0 and 8 of 2.375 mm at refine 2. The air is a free tetrahedral mesh, as fine as the
// plate's top face from the plate up to z = 50 mm (just above the coil's bottom) and growing away
// from that block; the 34 points of the lines A1-B1 (y = 72 mm) and A2-B2 (y = 144 mm) at z = 34 mm,
// x = 0, 18, ..., 288 mm, are embedded in it as nodes.
// Physical volume 1 is the air, 2 the plate; NASTRAN elements carry these numbers as property.
// Lengths in metres. -setnumber refine k (an integer) refines the plate grid and the air;
// -setnumber xmin ... zmax move the faces of the air box (the problem's recommended box is
// x, y in [-1.353, 1.647], z in [-0.3, 0.449]).
DefineConstant[ refine = 0, xmin = -0.3, xmax = 0.6, ymin = -0.3, ymax = 0.6, zmin = -0.3, zmax = 0.45 ];

mm = 0.001;
t = 19 * mm;               // plate thickness
n = refine + 1;            // grid squares per 18 mm in the plate
nz = 4 + 2 * refine;       // element layers through the plate
h_plate = 18 * mm / n;     // the plate's grid pitch
h_near = h_plate;          // air element size next to the plate and up to z = z_fine
z_fine = 50 * mm;          // top of the finely meshed air above the plate
h_out = 0.15 / n;          // largest air element size, at the outer faces
grow = 0.35;               // away from the fine block the air size grows by 0.35 times the distance

// The plate's bottom face: the cells of the grid lines xs[] x ys[] less the hole's cell (1, 1).
// x needs a grid line at 288 mm to keep the 18 mm pitch up to the last Jy point; y has the
// same lines, which keeps the grid symmetric about the diagonal x = y.
xs[] = {0, 18 * mm, 126 * mm, 288 * mm, 294 * mm};
ys[] = xs[];
nx = #xs[];
ny = #ys[];

// Grid points p(i, j) = i * ny + j + 1.
For i In {0 : nx - 1}
  For j In {0 : ny - 1}
    Point(i * ny + j + 1) = {xs[i], ys[j], 0};
  EndFor
EndFor

// Lines along x: lx(i, j) from p(i, j) to p(i + 1, j); lines along y: ly(i, j) from p(i, j) to
// p(i, j + 1). Each is divided into squares of the pitch (at least one: the 6 mm strip).
lx0 = 1000;
ly0 = 2000;
For i In {0 : nx - 2}
  For j In {0 : ny - 1}
    Line(lx0 + i * ny + j) = {i * ny + j + 1, (i + 1) * ny + j + 1};
    Transfinite Curve{lx0 + i * ny + j} = Max(1, Round((xs[i + 1] - xs[i]) / h_plate)) + 1;
  EndFor
EndFor
For i In {0 : nx - 1}
  For j In {0 : ny - 2}
    Line(ly0 + i * ny + j) = {i * ny + j + 1, i * ny + j + 2};
    Transfinite Curve{ly0 + i * ny + j} = Max(1, Round((ys[j + 1] - ys[j]) / h_plate)) + 1;
  EndFor
EndFor

// The cells: transfinite squares, each cut into two triangles, the diagonals alternating.
cells[] = {};
For i In {0 : nx - 2}
  For j In {0 : ny - 2}
    If (!(i == 1 && j == 1))
      c = i * ny + j + 1;
      Curve Loop(c) = {lx0 + i * ny + j, ly0 + (i + 1) * ny + j, -(lx0 + i * ny + j + 1), -(ly0 + i * ny + j)};
      Plane Surface(c) = {c};
      Transfinite Surface{c} Alternate;
      cells[] += c;
    EndIf
  EndFor
EndFor

// The plate: the cells extruded through the thickness in nz layers. Without Recombine the
// extrusion makes tetrahedra, each prism cut into three consistently with its neighbours.
out[] = Extrude {0, 0, t} { Surface{cells[]}; Layers{nz}; };
plate[] = {};
For k In {0 : #cells[] - 1}
  plate[] += out[6 * k + 1];
EndFor
plate_faces[] = CombinedBoundary{ Volume{plate[]}; };

// The air box (new tags: the extrusion numbered its entities after the grid's).
bp = newp;
Point(bp) = {xmin, ymin, zmin};
Point(bp + 1) = {xmax, ymin, zmin};
Point(bp + 2) = {xmax, ymax, zmin};
Point(bp + 3) = {xmin, ymax, zmin};
Point(bp + 4) = {xmin, ymin, zmax};
Point(bp + 5) = {xmax, ymin, zmax};
Point(bp + 6) = {xmax, ymax, zmax};
Point(bp + 7) = {xmin, ymax, zmax};
bl = newl;
For k In {0 : 3}
  Line(bl + k) = {bp + k, bp + (k + 1) % 4};              // bottom edges
  Line(bl + 4 + k) = {bp + 4 + k, bp + 4 + (k + 1) % 4};  // top edges
  Line(bl + 8 + k) = {bp + k, bp + 4 + k};                // vertical edges
EndFor
bs = news;
Curve Loop(bs) = {-(bl + 3), -(bl + 2), -(bl + 1), -bl};     // z = zmin
Curve Loop(bs + 1) = {bl + 4, bl + 5, bl + 6, bl + 7};       // z = zmax
For k In {0 : 3}                                             // y = ymin, x = xmax, y = ymax, x = xmin
  Curve Loop(bs + 2 + k) = {bl + k, bl + 8 + (k + 1) % 4, -(bl + 4 + k), -(bl + 8 + k)};
EndFor
box_faces[] = {};
For k In {0 : 5}
  Plane Surface(bs + k) = {bs + k};
  box_faces[] += bs + k;
EndFor
sl = newsl;
Surface Loop(sl) = {box_faces[]};
Surface Loop(sl + 1) = {plate_faces[]};
air = newv;
Volume(air) = {sl, sl + 1};

// The measurement points of A1-B1 and A2-B2, nodes of the air mesh.
lines_y[] = {72 * mm, 144 * mm};
probes[] = {};
For l In {0 : 1}
  For k In {0 : 16}
    pp = newp;
    Point(pp) = {18 * mm * k, lines_y[l], 34 * mm};
    probes[] += pp;
  EndFor
EndFor
Point{probes[]} In Volume{air};

Physical Volume(1) = {air};
Physical Volume(2) = {plate[]};

// Air sizes by the distance from the block over the plate, 0 <= x, y <= 294 mm, 0 <= z <= z_fine.
// (The plate's own mesh is fixed by its grid and layers.)
Field[1] = MathEval;
Field[1].F = Sprintf("Min(%g, %g + %g * Sqrt(Max(0, Max(-x, x - %g))^2 + Max(0, Max(-y, y - %g))^2 + Max(0, Max(-z, z - %g))^2))",
                     h_out, h_near, grow, xs[nx - 1], ys[ny - 1], z_fine);
Background Field = 1;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
