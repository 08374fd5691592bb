// An iron sphere of radius R in a uniform field along z: one octant (x, y, z >= 0) of the sphere
// in a cubic box of air whose outer faces lie five radii beyond the sphere.
// Physical volume 1 is the iron, 2 the air; NASTRAN elements carry these numbers as property.
// -setnumber refine k halves every element size k times (k may be fractional): refine 0 is the
// committed coarse mesh; refine 2.3 (tools/make_bench_mesh.sh) gives about a million unknowns.
SetFactory("OpenCASCADE");
DefineConstant[ refine = 0 ];

R = 0.1;              // sphere radius (m)
L = 6 * R;            // side of the air box
f = 2 ^ (-refine);
h_in = R / 16 * f;    // element size in and at the sphere: about thirteen elements along the radius
h_out = R * f;        // element size at the outer faces
grow = 0.3;           // outside the sphere the size grows by 0.3 times the distance from it

Sphere(1) = {0, 0, 0, R, 0, Pi / 2, Pi / 2};
Box(2) = {0, 0, 0, L, L, L};
BooleanFragments{ Volume{2}; Delete; }{ Volume{1}; Delete; }

e = 1e-6;
iron[] = Volume In BoundingBox{-e, -e, -e, R + e, R + e, R + e};
all[] = Volume{:};
air[] = all[];
air[] -= iron[];
Physical Volume(1) = {iron[]};
Physical Volume(2) = {air[]};

// Size by distance from the centre: h_in inside the sphere, growing linearly outside it.
Field[1] = MathEval;
Field[1].F = Sprintf("Max(%g, Min(%g, %g + %g * (Sqrt(x * x + y * y + z * z) - %g)))",
                     h_in, h_out, h_in, grow * f, R);
Background Field = 1;
Mesh.MeshSizeExtendFromBoundary = 0;
Mesh.MeshSizeFromPoints = 0;
Mesh.MeshSizeFromCurvature = 0;

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
