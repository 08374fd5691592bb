// The slab of slab.geo with physical groups numbered apart from its volumes: a unit box of air
// holding an iron slab 0.4 <= z <= 0.6 across its whole width, meshed as volumes 1 (air below),
// 2 (slab) and 3 (air above). Physical volume 7 is the air (volumes 1 and 3), 12 the iron
// (volume 2); physical surface 21 the bottom face z = 0. The groups are left unnamed so that
// every export carries their numbers (ABAQUS sets "PhysicalVolume7", ...).
SetFactory("OpenCASCADE");
Box(1) = {0, 0, 0, 1, 1, 0.4};
Box(2) = {0, 0, 0.4, 1, 1, 0.2};
Box(3) = {0, 0, 0.6, 1, 1, 0.4};
Coherence;
Mesh.CharacteristicLengthMax = 0.25;
Physical Volume(7) = {1, 3};
Physical Volume(12) = {2};
Physical Surface(21) = {Surface In BoundingBox{-0.01, -0.01, -0.01, 1.01, 1.01, 0.01}};
