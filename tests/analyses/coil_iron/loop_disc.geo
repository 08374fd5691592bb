// A loop coil over a thick, wide disc of iron: one quarter (x, y >= 0) of the disc in a box of
// air. The coil (mean radius a = 0.05 m about the z axis, its centre zc = 0.05 m above the disc)
// is a LOOP element of the deck, evaluated by Biot-Savart, and is not meshed. Physical volume 1
// is the iron disc, 2 the air; NASTRAN elements carry these numbers as property.
SetFactory("OpenCASCADE");

a = 0.05;             // the coil's mean radius (m)
zc = 0.05;            // height of the coil's centre above the disc's top face z = 0
R = 8 * a;            // the disc's radius: sixteen coil radii wide
T = 4 * a;            // its thickness: it lies between z = -T and z = 0
X = 0.9;              // the air box: 0 <= x, y <= X, zlo <= z <= zhi
zlo = -0.7;
zhi = 0.6;
h_axis = 0.001;       // element size at the top face near the axis, where B is compared
r_axis = 0.5 * a;     // the radius of that part of the top face
grow = 0.2;           // away from it the size grows by 0.2 times the distance
g_iron = 0.055;       // in the iron the size is 0.055 times the distance from the coil's circle
h_out = 0.1;          // largest element size

Cylinder(1) = {0, 0, -T, 0, 0, T, R, Pi / 2};
Box(2) = {0, 0, zlo, X, X, zhi - zlo};
BooleanFragments{ Volume{2}; Delete; }{ Volume{1}; Delete; }

e = 1e-6;
iron[] = Volume In BoundingBox{-e, -e, -T - e, R + e, R + e, e};
air[] = Volume{:};
air[] -= iron[];
Physical Volume(1) = {iron[]};
Physical Volume(2) = {air[]};

// The smaller of two sizes: one growing from the disc {z = 0, r <= r_axis}, and one below z = 0
// in proportion to the distance from the coil's circle. The iron's field varies on the scale of
// that distance, so this keeps its relative error about even; the 1000 z term switches the second
// size off above the top face, where the air only carries the smooth reaction of the iron.
Field[1] = MathEval;
Field[1].F = Sprintf("Min(%g, Min(%g + %g * Sqrt(Max(0, Sqrt(x^2 + y^2) - %g)^2 + z^2), %g * Sqrt((Sqrt(x^2 + y^2) - %g)^2 + (z - %g)^2) + 1000 * Max(0, z)))",
                     h_out, h_axis, grow, r_axis, g_iron, a, zc);
Background Field = 1;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
