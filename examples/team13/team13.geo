// TEAM problem 13: a steel centre plate between two steel channels, in a box of air; the half
// z >= 0 of the model (the plane z = 0 is a plane of mirror symmetry, where the field is normal).
// The coil (a rounded square about the z axis) is a RECT element of the input deck, evaluated by
// Biot-Savart, and is not meshed.
// The mesh is a tensor-product grid of hexahedra: every steel face lies on a grid plane, which
// gives two elements through each 3.2 mm plate and one across each 0.5 mm gap at a fraction of
// the elements a free tetrahedral mesh would need. Physical volume 1 is the steel, 2 the air;
// NASTRAN elements carry these numbers as property. -setnumber refine k halves every element
// size k times; -setnumber box b moves the outer faces of the air to |x|, |y|, z = b (m), and
// -setnumber air n adds n layers to the air outside the steel on each side (for a larger box).
DefineConstant[ refine = 0, box = 0.4, air = 0 ];
f = 2 ^ refine;

// Each axis: the grid planes that must exist (m), the layers between two of them and the ratio
// of one layer's thickness to the previous one's (below 1: the layers thin towards the end).
// x: air, channel 2's outer wall, its flange (in two halves), gap, centre plate (split at x = 0),
// gap, channel 1's flange (two halves), its outer wall, air. The flange layers thin towards both
// ends, the gap and the inner corner, where the flux turns and the field is strongest.
xk[] = {-box, -0.1253, -0.1221, -0.0621, -0.0021, -0.0016, 0, 0.0016, 0.0021, 0.0621, 0.1221, 0.1253, box};
xn[] = {4 + air, 2, 4, 4, 1, 1, 1, 1, 4, 4, 2, 4 + air};
xq[] = {0.4, 1, 1 / 0.6, 0.6, 1, 1, 1, 1, 1 / 0.6, 0.6, 1, 2.5};
// y: air, channel 2 (-65..-15 mm), the plate (-25..25 mm) overlapping both channels, channel 1.
yk[] = {-box, -0.065, -0.025, -0.015, 0.015, 0.025, 0.065, box};
yn[] = {3 + air, 3, 1, 2, 1, 3, 3 + air};
yq[] = {0.4, 1, 1, 1, 1, 1, 2.5};
// z: the coil's height (top at 50 mm), up to the flange (thinning towards it: the corner again),
// the flange (60..63.2 mm, the plate's top too), air.
zk[] = {0, 0.05, 0.06, 0.0632, box};
zn[] = {4, 2, 2, 4 + air};
zq[] = {1, 0.5, 1, 2.5};

// The layers of one interval for Extrude: nl layers (ln[], all 1) ending at the fractions lh[].
Macro MakeLayers
  ln[] = {};
  lh[] = {};
  q = ql ^ (1 / f);
  total = 0;
  For m In {0 : nl - 1}
    total += q ^ m;
  EndFor
  sum = 0;
  For m In {0 : nl - 1}
    sum += q ^ m;
    ln[] += 1;
    lh[] += sum / total;
  EndFor
  lh[nl - 1] = 1;
Return

// x: a chain of lines from one point.
nx = #xn[];
ny = #yn[];
nz = #zn[];
Point(1) = {xk[0], yk[0], zk[0]};
tip = 1;
cur[] = {};
For i In {0 : nx - 1}
  nl = xn[i] * f;
  ql = xq[i];
  Call MakeLayers;
  out[] = Extrude {xk[i + 1] - xk[i], 0, 0} { Point{tip}; Layers{ln[], lh[]}; };
  tip = out[0];
  cur[] += out[1];
EndFor

// y: rows of quadrangle surfaces, surf[j * nx + i].
surf[] = {};
For j In {0 : ny - 1}
  nl = yn[j] * f;
  ql = yq[j];
  Call MakeLayers;
  out[] = Extrude {0, yk[j + 1] - yk[j], 0} { Line{cur[]}; Layers{ln[], lh[]}; Recombine; };
  For i In {0 : nx - 1}
    cur[i] = out[4 * i];
    surf[] += out[4 * i + 1];
  EndFor
EndFor

// z: slabs of hexahedral volumes; each cell goes to the steel or the air by its centre.
steel[] = {};
air[] = {};
e = 1e-9;
For k In {0 : nz - 1}
  nl = zn[k] * f;
  ql = zq[k];
  Call MakeLayers;
  out[] = Extrude {0, 0, zk[k + 1] - zk[k]} { Surface{surf[]}; Layers{ln[], lh[]}; Recombine; };
  For j In {0 : ny - 1}
    For i In {0 : nx - 1}
      m = j * nx + i;
      surf[m] = out[6 * m];
      cx = 0.5 * (xk[i] + xk[i + 1]);
      cy = 0.5 * (yk[j] + yk[j + 1]);
      cz = 0.5 * (zk[k] + zk[k + 1]);
      // The centre plate, then channel 1 (x > 0, 15..65 mm in y) and its point-mirror image
      // channel 2: flange (60..63.2 mm in z) or outer wall (122.1..125.3 mm from the axis).
      plate = Fabs(cx) < 0.0016 && Fabs(cy) < 0.025 && cz < 0.0632;
      ax = Fabs(cx);
      side = (cx > 0 && cy > 0.015 && cy < 0.065) || (cx < 0 && cy < -0.015 && cy > -0.065);
      channel = side && ax > 0.0021 && ax < 0.1253 && cz < 0.0632 && (cz > 0.06 || ax > 0.1221);
      If (plate || channel)
        steel[] += out[6 * m + 1];
      Else
        air[] += out[6 * m + 1];
      EndIf
    EndFor
  EndFor
EndFor

Physical Volume(1) = {steel[]};
Physical Volume(2) = {air[]};

// NASTRAN output as the examples use it: free (comma-separated) fields, physical numbers.
Mesh.BdfFieldFormat = 0;
Mesh.SaveElementTagType = 2;
