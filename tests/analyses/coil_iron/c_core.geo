// A C-core of iron with an air gap, a coil around one limb: the quarter y >= 0, z >= 0 in a box of
// air. The core (square section s by s, mu_r 1000 on the deck) lies in the plane y = 0 with its
// limbs along z: the left limb 0 <= x <= s carries the coil, a RECT element of the deck centred
// on the limb at z = 0, evaluated by Biot-Savart and not meshed; the right limb is cut by the gap
// |z| < g / 2. Physical volume 1 is the iron, 2 the air; NASTRAN elements carry these numbers as
// property. -setnumber level k divides every element size by 2^(k/2).
SetFactory("OpenCASCADE");
DefineConstant[ level = 0 ];

s = 0.02;             // side of the core's square section (m)
W = 0.1;              // outer width of the core along x
H = 0.14;             // outer height along z: the core lies within |z| <= H / 2
g = 0.004;            // the gap
X0 = -0.15;           // the air box: X0 <= x <= X1, 0 <= y <= Y1, 0 <= z <= Z1
X1 = 0.25;
Y1 = 0.2;
Z1 = 0.25;
f = 2 ^ (-level / 2);
h_iron = 0.004 * f;   // element size in and next to the iron
h_gap = 0.002 * f;    // element size in and next to the gap
h_out = 0.05 * f;     // largest element size
grow = 0.3 * f;       // away from the core the size grows by 0.3 times the distance from it
h_corner = 0.001 * f; // element size at the window's inner corners
zw = H / 2 - s;       // height of the window's top, where its inner corners lie

Box(1) = {0, 0, 0, W, s / 2, H / 2};
Box(2) = {s, 0, 0, W - 2 * s, s / 2, H / 2 - s};
Box(3) = {W - s, 0, 0, s, s / 2, g / 2};
BooleanDifference(4) = { Volume{1}; Delete; }{ Volume{2, 3}; Delete; };
Box(5) = {X0, 0, 0, X1 - X0, Y1, Z1};
BooleanFragments{ Volume{5}; Delete; }{ Volume{4}; Delete; }

e = 1e-6;
iron[] = Volume In BoundingBox{-e, -e, -e, W + e, s / 2 + e, H / 2 + e};
air[] = Volume{:};
air[] -= iron[];
Physical Volume(1) = {iron[]};
Physical Volume(2) = {air[]};

// Size by the distance from the core's bounding box, finer by the gap, and finer still by the
// window's two inner corners, where the iron's field is singular (a re-entrant corner of iron):
// without that grading their error sets the iron's rate of convergence.
Field[1] = MathEval;
Field[1].F = Sprintf("Min(%g, Min(%g + %g * Sqrt(Max(0, Max(-x, x - %g))^2 + Max(0, y - %g)^2 + Max(0, z - %g)^2), %g + %g * Sqrt(Max(0, Max(%g - x, x - %g))^2 + Max(0, y - %g)^2 + Max(0, z - %g)^2)))",
                     h_out, h_iron, grow, W, s / 2, H / 2, h_gap, grow, W - s, W, s / 2, g / 2);
Field[2] = MathEval;
Field[2].F = Sprintf("%g + %g * Sqrt(Min((x - %g)^2, (x - %g)^2) + Max(0, y - %g)^2 + (z - %g)^2)",
                     h_corner, grow, s, W - s, s / 2, zw);
Field[3] = Min;
Field[3].FieldsList = {1, 2};
Background Field = 3;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
