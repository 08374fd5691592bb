// The adaptive quadrature of the coil elements: a vector of up to five components integrated
// over an interval by Gauss-Kronrod panels, splitting the worst panel until the estimate holds.
#pragma once

namespace tesmora {

inline constexpr int max_integrand_components = 5;

// A vector function of one variable; `values` has the integral's number of components.
class INTEGRAND {
public:
  virtual ~INTEGRAND() = default;
  virtual void evaluate(double x, double *values) const = 0;
};

// Integrates f over [a, b] (a > b gives the negative) into `result` (no_components values,
// 1..5), to a relative tolerance of the largest component, or an absolute floor `abs_tol`.
// Works on the caller's frame: no allocation, no shared state. Returns the number of
// integrand evaluations.
int integrate_adaptive(const INTEGRAND &f, double a, double b, int no_components, double rel_tol,
                       double abs_tol, double *result);

// Gauss-Legendre points and weights on [-1, 1] for orders 1 to 10; false for other orders.
bool gauss_legendre(int order, double *points, double *weights);

} // namespace tesmora
