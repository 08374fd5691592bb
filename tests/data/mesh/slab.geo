// A unit box of air holding an iron slab 0.4 <= z <= 0.6 across its whole width. Volumes: 1 air
// below, 2 iron slab, 3 air above. Made for the static solve test of a field parallel to a slab.
SetFactory("OpenCASCADE");
Box(1) = {0, 0, 0, 1, 1, 0.4};
Box(2) = {0, 0, 0.4, 1, 1, 0.2};
Box(3) = {0, 0, 0.6, 1, 1, 0.4};
Coherence;
Mesh.CharacteristicLengthMax = 0.25;
Physical Volume(1) = {1};
Physical Volume(2) = {2};
Physical Volume(3) = {3};
