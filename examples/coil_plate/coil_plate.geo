// A square iron plate under a circular coil: one quarter (x, y >= 0) of the plate in a box of
// air. The coil (radius 0.05 m about the z axis, its centre 0.02 m above the plate) is a LOOP
// element of the input deck, evaluated by Biot-Savart, and is not meshed.
// Physical volume 1 is the iron plate, 2 the air; NASTRAN elements carry these numbers as
// property. -setnumber refine k halves every element size k times.
SetFactory("OpenCASCADE");
DefineConstant[ refine = 0 ];

w = 0.1;              // half side of the plate (m): the plate is 0.2 m square
t = 0.02;             // plate thickness: it lies between z = -t and z = 0
X = 0.4;              // the air box: 0 <= x, y <= X, zlo <= z <= zhi
zlo = -0.3;
zhi = 0.35;
f = 2 ^ (-refine);
h_plate = 0.005 * f;  // element size in the plate: over three elements through its thickness
h_out = 0.1 * f;      // largest element size, at the outer faces
grow = 0.4;           // away from the plate the size grows by 0.4 times the distance from it

Box(1) = {0, 0, -t, w, w, t};
Box(2) = {0, 0, zlo, X, X, zhi - zlo};
BooleanFragments{ Volume{2}; Delete; }{ Volume{1}; Delete; }

e = 1e-6;
iron[] = Volume In BoundingBox{-e, -e, -t - e, w + e, w + e, e};
air[] = Volume{:};
air[] -= iron[];
Physical Volume(1) = {iron[]};
Physical Volume(2) = {air[]};

// Size by the distance from the plate.
Field[1] = MathEval;
Field[1].F = Sprintf("Min(%g, %g + %g * Sqrt(Max(0, x - %g)^2 + Max(0, y - %g)^2 + Max(0, Max(-%g - z, z))^2))",
                     h_out, h_plate, grow * f, w, w, t);
Background Field = 1;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
