// A ring core about the z axis, threaded by a straight current along that axis: one eighth of it
// (x, y, z >= 0) in a box of air. The core is the annulus ri <= sqrt(x^2 + y^2) <= ro of height
// h (|z| <= h / 2). The current is a LINE element of the deck, not meshed; the air leaves out a
// thin cylinder about the axis, where the line's potential is singular. Physical volume 1 is the
// core, 2 the air.
SetFactory("OpenCASCADE");

ri = 0.04;          // the core's inner radius (m)
ro = 0.06;          // its outer radius
h = 0.02;           // its height along z
hole = 0.005;       // radius of the cylinder left out about the axis
R = 0.12;           // the air box: 0 <= x, y <= R, 0 <= z <= Z
Z = 0.06;
h_core = 0.002;     // element size in the core
h_out = 0.02;       // largest size
If (!Exists(refine))
  refine = 0;
EndIf
h_core = h_core / 2^refine;

Cylinder(1) = {0, 0, 0, 0, 0, h / 2, ro, Pi / 2};
Cylinder(2) = {0, 0, 0, 0, 0, h / 2, ri, Pi / 2};
BooleanDifference(3) = { Volume{1}; Delete; }{ Volume{2}; Delete; };
Box(4) = {0, 0, 0, R, R, Z};
Cylinder(5) = {0, 0, 0, 0, 0, Z, hole, Pi / 2};
BooleanDifference(6) = { Volume{4}; Delete; }{ Volume{5}; Delete; };
BooleanFragments{ Volume{6}; Delete; }{ Volume{3}; Delete; }

e = 1e-6;
core[] = Volume In BoundingBox{-e, -e, -e, ro + e, ro + e, h / 2 + e};
air[] = Volume{:};
air[] -= core[];
Physical Volume(1) = {core[]};
Physical Volume(2) = {air[]};

Field[1] = Box;
Field[1].VIn = h_core;
Field[1].VOut = h_out;
Field[1].XMin = 0;
Field[1].XMax = ro + 0.005;
Field[1].YMin = 0;
Field[1].YMax = ro + 0.005;
Field[1].ZMin = 0;
Field[1].ZMax = h / 2 + 0.005;
Field[1].Thickness = 0.04;
Background Field = 1;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
