// PRISM_N15E9 geometry: the 15-node prism's shape functions, with l = 1 - xi - eta.
#include "mesh/elements/element_functions.hpp"

namespace tesmora::element_functions {

namespace {

// Triangle coordinates (l, xi, eta) and their gradients in (xi, eta).
struct PRISM_TRIANGLE {
  double lambda[3];
  double grad[3][2];
};

PRISM_TRIANGLE prism_triangle(double xi, double eta) {
  return {{1.0 - xi - eta, xi, eta}, {{-1.0, -1.0}, {1.0, 0.0}, {0.0, 1.0}}};
}

// Corners, node pairs of the triangle mid nodes (l xi, xi eta, l eta), 0-based in lambda.
constexpr int mid_pairs[3][2] = {{0, 1}, {1, 2}, {0, 2}};

} // namespace

// Lower corners lambda (1 - zeta)/2 (2 lambda - zeta - 2), upper ones the same with zeta for
// -zeta; triangle mid nodes 4 (1 -/+ zeta)/2 lambda_a lambda_b; vertical mid nodes
// lambda (1 - zeta^2).
void prism15_shape(double xi, double eta, double zeta, double *out) {
  const PRISM_TRIANGLE t = prism_triangle(xi, eta);
  for (int c = 0; c < 3; ++c) {
    const double l = t.lambda[c];
    out[c] = l * (1.0 - zeta) / 2.0 * (2.0 * l - zeta - 2.0);
    out[3 + c] = l * (1.0 + zeta) / 2.0 * (2.0 * l + zeta - 2.0);
    const double pair = t.lambda[mid_pairs[c][0]] * t.lambda[mid_pairs[c][1]];
    out[6 + c] = 2.0 * (1.0 - zeta) * pair;
    out[9 + c] = 2.0 * (1.0 + zeta) * pair;
    out[12 + c] = l * (1.0 - zeta * zeta);
  }
}

void prism15_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  const PRISM_TRIANGLE t = prism_triangle(xi, eta);
  // Each function as f(lambda..., zeta): the xi and eta derivatives go through the gradients.
  const auto put = [&out](int node, const double(&dlambda)[2], double df_dlambda, double df_dzeta) {
    out[node][0] = df_dlambda * dlambda[0];
    out[node][1] = df_dlambda * dlambda[1];
    out[node][2] = df_dzeta;
  };
  for (int c = 0; c < 3; ++c) {
    const double l = t.lambda[c];
    const double lower = (1.0 - zeta) / 2.0;
    const double upper = (1.0 + zeta) / 2.0;
    put(c, t.grad[c], lower * (4.0 * l - zeta - 2.0), l * (-(2.0 * l - zeta - 2.0) / 2.0 - lower));
    put(3 + c, t.grad[c], upper * (4.0 * l + zeta - 2.0), l * ((2.0 * l + zeta - 2.0) / 2.0 + upper));
    put(12 + c, t.grad[c], 1.0 - zeta * zeta, -2.0 * zeta * l);
    const int a = mid_pairs[c][0];
    const int b = mid_pairs[c][1];
    for (int level = 0; level < 2; ++level) {
      const double h = level == 0 ? 2.0 * (1.0 - zeta) : 2.0 * (1.0 + zeta);
      const int node = 6 + 3 * level + c;
      for (int d = 0; d < 2; ++d)
        out[node][d] = h * (t.grad[a][d] * t.lambda[b] + t.lambda[a] * t.grad[b][d]);
      out[node][2] = (level == 0 ? -2.0 : 2.0) * t.lambda[a] * t.lambda[b];
    }
  }
}

} // namespace tesmora::element_functions
