// Helpers shared by the element families: mapping reference edge functions to real space.
//
// A family evaluates each edge function by its covariant reference components c (the function
// is sum_k c_k grad xi_k) and the reference components r of its curl (the curl is
// r_1 g2 x g3 + r_2 g3 x g1 + r_3 g1 x g2, g_k = grad xi_k). Both carry over to any element
// through the rows of g alone, which is what keeps tangential traces and normal curls continuous.
#pragma once

namespace tesmora::element_support {

// out[e] = sum_k c[e][k] g[k], for n edges.
inline void map_edge_values(int n, const double (*c)[3], const double (*g)[3], double (*out)[3]) {
  for (int e = 0; e < n; ++e)
    for (int j = 0; j < 3; ++j) out[e][j] = c[e][0] * g[0][j] + c[e][1] * g[1][j] + c[e][2] * g[2][j];
}

// out[e] = r[e][0] g2 x g3 + r[e][1] g3 x g1 + r[e][2] g1 x g2, for n edges.
inline void map_edge_curls(int n, const double (*r)[3], const double (*g)[3], double (*out)[3]) {
  double cross[3][3]; // g2 x g3, g3 x g1, g1 x g2
  for (int k = 0; k < 3; ++k) {
    const double *a = g[(k + 1) % 3];
    const double *b = g[(k + 2) % 3];
    cross[k][0] = a[1] * b[2] - a[2] * b[1];
    cross[k][1] = a[2] * b[0] - a[0] * b[2];
    cross[k][2] = a[0] * b[1] - a[1] * b[0];
  }
  for (int e = 0; e < n; ++e)
    for (int j = 0; j < 3; ++j)
      out[e][j] = r[e][0] * cross[0][j] + r[e][1] * cross[1][j] + r[e][2] * cross[2][j];
}

// The function f grad xi_d in reference components, with the curl grad f x e_d of it.
inline void set_directional(double f, const double *df, int d, double *c, double *r) {
  c[0] = c[1] = c[2] = 0.0;
  c[d] = f;
  const double e[3] = {d == 0 ? 1.0 : 0.0, d == 1 ? 1.0 : 0.0, d == 2 ? 1.0 : 0.0};
  r[0] = df[1] * e[2] - df[2] * e[1];
  r[1] = df[2] * e[0] - df[0] * e[2];
  r[2] = df[0] * e[1] - df[1] * e[0];
}

// c = a x b for reference vectors.
inline void cross_product(const double *a, const double *b, double *c) {
  c[0] = a[1] * b[2] - a[2] * b[1];
  c[1] = a[2] * b[0] - a[0] * b[2];
  c[2] = a[0] * b[1] - a[1] * b[0];
}

} // namespace tesmora::element_support

namespace tesmora::element_support {

// Barycentric coordinates of the tetrahedron, l1 = 1 - xi - eta - zeta, l2 = xi, l3 = eta,
// l4 = zeta, with their reference gradients.
struct TETRA_BARYCENTRIC {
  double l[4];
  double dl[4][3];
};

inline TETRA_BARYCENTRIC tetra_barycentric(double xi, double eta, double zeta) {
  return {{1.0 - xi - eta - zeta, xi, eta, zeta},
          {{-1.0, -1.0, -1.0}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
}

// Whitney function W_ab = l_a grad l_b - l_b grad l_a (a, b 0-based) and its curl
// 2 grad l_a x grad l_b, in reference components.
inline void whitney(const TETRA_BARYCENTRIC &t, int a, int b, double *c, double *r) {
  for (int k = 0; k < 3; ++k) c[k] = t.l[a] * t.dl[b][k] - t.l[b] * t.dl[a][k];
  cross_product(t.dl[a], t.dl[b], r);
  for (int k = 0; k < 3; ++k) r[k] *= 2.0;
}

// The product phi W of a scalar and a vector function, with its curl grad phi x W + phi curl W.
inline void scale_edge_function(double phi, const double *dphi, double *c, double *r) {
  double gx[3];
  cross_product(dphi, c, gx);
  for (int k = 0; k < 3; ++k) {
    r[k] = gx[k] + phi * r[k];
    c[k] *= phi;
  }
}

} // namespace tesmora::element_support
