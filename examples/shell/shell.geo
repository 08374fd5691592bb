// A spherical iron shell (inner radius a, outer radius b) in a uniform field along z: one octant
// (x, y, z >= 0) of the shell, its air-filled cavity, and a cubic box of air whose outer faces lie
// five outer radii beyond the shell.
// Physical volume 1 is the iron, 2 the outer air, 3 the cavity; NASTRAN elements carry these
// numbers as property. -setnumber refine k halves every element size k times.
SetFactory("OpenCASCADE");
DefineConstant[ refine = 0 ];

b = 0.1;              // outer radius (m)
a = 0.08;             // inner radius: a / b = 0.8
L = 6 * b;            // side of the air box
f = 2 ^ (-refine);
h_shell = 0.006 * f;  // element size in the shell: about three elements through its thickness
h_out = b * f;        // largest element size, at the outer faces
grow = 0.4;           // away from the shell the size grows by 0.4 times the distance from it

Sphere(1) = {0, 0, 0, a, 0, Pi / 2, Pi / 2};
Sphere(2) = {0, 0, 0, b, 0, Pi / 2, Pi / 2};
Box(3) = {0, 0, 0, L, L, L};
BooleanFragments{ Volume{3}; Delete; }{ Volume{1, 2}; Delete; }

e = 1e-6;
cavity[] = Volume In BoundingBox{-e, -e, -e, a + e, a + e, a + e};
inside[] = Volume In BoundingBox{-e, -e, -e, b + e, b + e, b + e};
iron[] = inside[];
iron[] -= cavity[];
air[] = Volume{:};
air[] -= inside[];
Physical Volume(1) = {iron[]};
Physical Volume(2) = {air[]};
Physical Volume(3) = {cavity[]};

// Size by the distance from the shell, measured along the radius.
Field[1] = MathEval;
Field[1].F = Sprintf("Min(%g, %g + %g * Max(0, Max(%g - Sqrt(x*x + y*y + z*z), Sqrt(x*x + y*y + z*z) - %g)))",
                     h_out, h_shell, grow * f, a, b);
Background Field = 1;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
