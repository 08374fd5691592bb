// MESHED_COIL (MESH): a coil given as a mesh of linear hexahedra, summed over Gauss points.
#include "sources/coil_elements/coil_kinds.hpp"
#include "sources/coil_kernels.hpp"

#include <cmath>

namespace tesmora {

namespace {

constexpr int gauss_order = 3; // per direction of a hexahedron

class MESHED_COIL final : public COIL_ELEMENT {
public:
  MESHED_COIL(double current, int mesh_id) : current(current), mesh_id(mesh_id) {
    gauss_legendre(gauss_order, points, weights);
  }
  COIL_KIND kind() const override { return COIL_KIND::MESH; }
  bool attach_mesh(const COIL_MESH *coil_mesh) override {
    mesh = coil_mesh;
    return true;
  }
  void A(const double p[3], const COIL_OPTIONS &, double A_out[3]) const override { sum(p, true, A_out); }
  void B(const double p[3], const COIL_OPTIONS &, double B_out[3]) const override { sum(p, false, B_out); }

private:
  // Position and d(position)/d(zeta) of element e at (xi, eta, zeta) in [-1, 1]^3.
  void map(int e, double xi, double eta, double zeta, double x[3], double dx_dzeta[3]) const;
  void sum(const double p[3], bool want_A, double out[3]) const;

  double current; // A
  int mesh_id;    // MESH_ID of the card
  const COIL_MESH *mesh = nullptr;
  double points[gauss_order] = {}, weights[gauss_order] = {};
};

void MESHED_COIL::map(int e, double xi, double eta, double zeta, double x[3], double dx_dzeta[3]) const {
  constexpr double corner[8][3] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                                   {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
  for (int i = 0; i < 3; ++i) x[i] = dx_dzeta[i] = 0.0;
  for (int k = 0; k < 8; ++k) {
    const int node = mesh->nodes[8 * e + k]; // 1-based
    const double *xyz = mesh->xyz + 3 * (node - 1);
    const double fx = 1.0 + corner[k][0] * xi, fy = 1.0 + corner[k][1] * eta, fz = 1.0 + corner[k][2] * zeta;
    const double shape = fx * fy * fz / 8.0;
    const double d_shape = fx * fy * corner[k][2] / 8.0;
    for (int i = 0; i < 3; ++i) {
      x[i] += shape * xyz[i];
      dx_dzeta[i] += d_shape * xyz[i];
    }
  }
}

// Each zeta line of the parameter square carries current/4 per unit of xi and eta, so the
// element current I flows from bottom to top without divergence: J dV = I/4 dx/dzeta dxi deta dzeta.
void MESHED_COIL::sum(const double p[3], bool want_A, double out[3]) const {
  out[0] = out[1] = out[2] = 0.0;
  if (!mesh) return;
  for (int e = 0; e < mesh->no_elements; ++e)
    for (int i = 0; i < gauss_order; ++i)
      for (int j = 0; j < gauss_order; ++j)
        for (int k = 0; k < gauss_order; ++k) {
          double x[3], t[3];
          map(e, points[i], points[j], points[k], x, t);
          const double w = weights[i] * weights[j] * weights[k] * current / 4.0 * mu0_over_4pi;
          const double d[3] = {p[0] - x[0], p[1] - x[1], p[2] - x[2]};
          const double R = norm3(d);
          if (R == 0.0) continue;
          if (want_A) {
            for (int c = 0; c < 3; ++c) out[c] += w * t[c] / R;
          } else {
            double txd[3];
            cross3(t, d, txd);
            for (int c = 0; c < 3; ++c) out[c] += w * txd[c] / (R * R * R);
          }
        }
}

} // namespace

std::unique_ptr<COIL_ELEMENT> make_meshed_coil(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<MESHED_COIL>(data.current, data.mesh_id);
}

} // namespace tesmora
