// The adaptive Gauss-Kronrod (7, 15) quadrature of the coil elements and Gauss-Legendre rules.
#include "sources/coil_integrator.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

// Kronrod nodes of the 15-point rule on [-1, 1] (the odd ones are the 7-point Gauss nodes), with
// their Kronrod weights and the Gauss weights of the even nodes (Piessens et al., QUADPACK).
constexpr double kronrod_x[8] = {0.991455371120812639206854697526329, 0.949107912342758524526189684047851,
                                 0.864864423359769072789712788640926, 0.741531185599394439863864773280788,
                                 0.586087235467691130294144845693013, 0.405845151377397166906606412076961,
                                 0.207784955007898467600689403773245, 0.0};
constexpr double kronrod_w[8] = {0.022935322010529224963732008058970, 0.063092092629978553290700663189204,
                                 0.104790010322250183839876322541518, 0.140653259715525918745189590510238,
                                 0.169004726639267902826583426598550, 0.190350578064785409913256402421014,
                                 0.204432940075298892414161999234649, 0.209482141084727828012999174891714};
constexpr double gauss_w[4] = {0.129484966168869693270611432679082, 0.279705391489276667901467771423780,
                               0.381830050505118944950369775488975, 0.417959183673469387755102040816327};

constexpr int max_panels = 200; // panels kept at once; beyond this the best estimate is returned

struct PANEL {
  double a = 0.0, b = 0.0;
  double value[max_integrand_components] = {};
  double error = 0.0; // largest component difference of the two rules
};

// One panel by both rules; returns the evaluations used.
int integrate_panel(const INTEGRAND &f, int n, PANEL &panel) {
  const double centre = 0.5 * (panel.a + panel.b);
  const double half = 0.5 * (panel.b - panel.a);
  double kronrod[max_integrand_components] = {};
  double gauss[max_integrand_components] = {};
  double v[max_integrand_components] = {};
  f.evaluate(centre, v);
  for (int c = 0; c < n; ++c) {
    kronrod[c] = kronrod_w[7] * v[c];
    gauss[c] = gauss_w[3] * v[c];
  }
  for (int j = 0; j < 7; ++j) {
    const double dx = half * kronrod_x[j];
    double left[max_integrand_components] = {};
    f.evaluate(centre - dx, left);
    f.evaluate(centre + dx, v);
    for (int c = 0; c < n; ++c) {
      kronrod[c] += kronrod_w[j] * (left[c] + v[c]);
      if (j % 2 == 1) gauss[c] += gauss_w[j / 2] * (left[c] + v[c]);
    }
  }
  panel.error = 0.0;
  for (int c = 0; c < n; ++c) {
    panel.value[c] = kronrod[c] * half;
    panel.error = std::max(panel.error, std::abs((kronrod[c] - gauss[c]) * half));
  }
  return 15;
}

} // namespace

int integrate_adaptive(const INTEGRAND &f, double a, double b, int no_components, double rel_tol,
                       double abs_tol, double *result) {
  const int n = std::clamp(no_components, 1, max_integrand_components);
  PANEL panels[max_panels];
  int no_panels = 1;
  panels[0].a = a;
  panels[0].b = b;
  int evaluations = integrate_panel(f, n, panels[0]);
  for (;;) {
    double total[max_integrand_components] = {};
    double error = 0.0;
    int worst = 0;
    for (int i = 0; i < no_panels; ++i) {
      for (int c = 0; c < n; ++c) total[c] += panels[i].value[c];
      error += panels[i].error;
      if (panels[i].error > panels[worst].error) worst = i;
    }
    double size = 0.0;
    for (int c = 0; c < n; ++c) size = std::max(size, std::abs(total[c]));
    const double width = panels[worst].b - panels[worst].a;
    const bool too_narrow = std::abs(width) <= 1e-13 * (std::abs(a) + std::abs(b) + 1e-300);
    if (error <= std::max(abs_tol, rel_tol * size) || no_panels == max_panels || too_narrow) {
      for (int c = 0; c < n; ++c) result[c] = total[c];
      return evaluations;
    }
    // Split the worst panel in two: its left half takes its place, the right half goes last.
    PANEL &left = panels[worst];
    PANEL &right = panels[no_panels++];
    const double middle = 0.5 * (left.a + left.b);
    right.a = middle;
    right.b = left.b;
    left.b = middle;
    evaluations += integrate_panel(f, n, left);
    evaluations += integrate_panel(f, n, right);
  }
}

bool gauss_legendre(int order, double *points, double *weights) {
  if (order < 1 || order > 10) return false;
  // Newton's iteration on the Legendre polynomial P_n from the Chebyshev guess of each root.
  for (int i = 0; i < order; ++i) {
    double x = std::cos(M_PI * (i + 0.75) / (order + 0.5));
    double derivative = 1.0;
    for (int iteration = 0; iteration < 100; ++iteration) {
      double p0 = 1.0;
      double p1 = x;
      for (int k = 2; k <= order; ++k) {
        const double p2 = ((2 * k - 1) * x * p1 - (k - 1) * p0) / k;
        p0 = p1;
        p1 = p2;
      }
      derivative = order * (x * p1 - p0) / (x * x - 1.0);
      const double step = p1 / derivative;
      x -= step;
      if (std::abs(step) < 1e-16) break;
    }
    points[i] = x;
    weights[i] = 2.0 / ((1.0 - x * x) * derivative * derivative);
  }
  return true;
}

} // namespace tesmora
