// The closed-form loop field, point location, plane fluxes and Gmsh meshes of the coil-in-iron tests.
#include "coil_iron_support.hpp"

#include "support/test_support.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tesmora::testing {

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double mu0 = 4.0e-7 * pi;

// Gauss-Legendre points and weights on [-1, 1], rows n = 1..5.
struct GAUSS_RULE {
  double x[5];
  double w[5];
};
constexpr GAUSS_RULE gauss_rules[5] = {
    {{0.0}, {2.0}},
    {{-0.5773502691896257, 0.5773502691896257}, {1.0, 1.0}},
    {{-0.7745966692414834, 0.0, 0.7745966692414834}, {5.0 / 9.0, 8.0 / 9.0, 5.0 / 9.0}},
    {{-0.8611363115940526, -0.3399810435848563, 0.3399810435848563, 0.8611363115940526},
     {0.3478548451374538, 0.6521451548625461, 0.6521451548625461, 0.3478548451374538}},
    {{-0.9061798459386640, -0.5384693101056831, 0.0, 0.5384693101056831, 0.9061798459386640},
     {0.2369268850561891, 0.4786286704993665, 0.5688888888888889, 0.4786286704993665, 0.2369268850561891}},
};

} // namespace

std::array<double, 2> filament_loop_field(double current, double radius, double rho, double z) {
  const double a = radius;
  const double far2 = (a + rho) * (a + rho) + z * z;  // squared distance to the far side of the loop
  const double near2 = (a - rho) * (a - rho) + z * z; // and to the near side
  const double k = std::sqrt(std::min(1.0, 4.0 * a * rho / far2));
  const double K = std::comp_ellint_1(k);
  const double E = std::comp_ellint_2(k);
  const double scale = mu0 * current / (2.0 * pi * std::sqrt(far2));
  const double B_z = scale * (K + (a * a - rho * rho - z * z) / near2 * E);
  // On the axis B_rho vanishes; the bracket below is O(rho) there and loses its digits.
  const double B_rho =
      rho < 1e-9 * a ? 0.0 : scale * z / rho * (-K + (a * a + rho * rho + z * z) / near2 * E);
  return {B_rho, B_z};
}

std::array<double, 2> section_loop_field(const SECTION_LOOP &loop, double rho, double z, int n) {
  const GAUSS_RULE &rule = gauss_rules[n - 1];
  std::array<double, 2> B{};
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const double radius = loop.radius + 0.5 * rule.x[i] * loop.radial_w;
      const double height = loop.center_z + 0.5 * rule.x[j] * loop.axial_w;
      const double share = 0.25 * rule.w[i] * rule.w[j];
      const std::array<double, 2> b = filament_loop_field(share * loop.current, radius, rho, z - height);
      B[0] += b[0];
      B[1] += b[1];
    }
  return B;
}

std::array<double, 4> barycentric(const TET_MESH &mesh, std::size_t t, const std::array<double, 3> &p) {
  const auto &c = mesh.corners[t];
  const std::array<double, 3> &p0 = mesh.points[static_cast<std::size_t>(c[0])];
  double m[3][3], r[3];
  for (std::size_t d = 0; d < 3; ++d) {
    for (std::size_t k = 0; k < 3; ++k) m[d][k] = mesh.points[static_cast<std::size_t>(c[k + 1])][d] - p0[d];
    r[d] = p[d] - p0[d];
  }
  // Cramer's rule for m l = r.
  auto det3 = [](double a[3][3]) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  };
  const double det = det3(m);
  std::array<double, 4> l{};
  for (std::size_t k = 0; k < 3; ++k) {
    double mk[3][3];
    for (std::size_t d = 0; d < 3; ++d)
      for (std::size_t j = 0; j < 3; ++j) mk[d][j] = j == k ? r[d] : m[d][j];
    l[k + 1] = det3(mk) / det;
  }
  l[0] = 1.0 - l[1] - l[2] - l[3];
  return l;
}

TetLocator::TetLocator(const TET_MESH &mesh) : mesh_(mesh) {
  std::array<double, 3> high{};
  low_.fill(1e300);
  high.fill(-1e300);
  for (const auto &x : mesh.points)
    for (std::size_t d = 0; d < 3; ++d) {
      low_[d] = std::min(low_[d], x[d]);
      high[d] = std::max(high[d], x[d]);
    }
  const long n = std::max(1L, static_cast<long>(2.0 * std::cbrt(static_cast<double>(mesh.size()))));
  for (std::size_t d = 0; d < 3; ++d) {
    cells_[d] = n;
    cell_[d] = std::max(high[d] - low_[d], 1e-300) / static_cast<double>(n);
  }
  // Two passes over the tetrahedra's cell ranges: count, then fill.
  first_.assign(static_cast<std::size_t>(n * n * n + 1), 0);
  for (int pass = 0; pass < 2; ++pass) {
    std::vector<long> next(first_.begin(), first_.end() - 1);
    if (pass == 1) members_.resize(static_cast<std::size_t>(first_.back()));
    for (std::size_t t = 0; t < mesh.size(); ++t) {
      std::array<long, 3> from{}, to{};
      for (std::size_t d = 0; d < 3; ++d) {
        double lo = 1e300, hi = -1e300;
        for (const int c : mesh.corners[t]) {
          lo = std::min(lo, mesh.points[static_cast<std::size_t>(c)][d]);
          hi = std::max(hi, mesh.points[static_cast<std::size_t>(c)][d]);
        }
        from[d] = cell_index({lo, lo, lo}, d);
        to[d] = cell_index({hi, hi, hi}, d);
      }
      for (long i = from[0]; i <= to[0]; ++i)
        for (long j = from[1]; j <= to[1]; ++j)
          for (long k = from[2]; k <= to[2]; ++k) {
            const std::size_t cell = static_cast<std::size_t>((i * n + j) * n + k);
            if (pass == 0)
              ++first_[cell + 1];
            else
              members_[static_cast<std::size_t>(next[cell]++)] = static_cast<long>(t);
          }
    }
    if (pass == 0)
      for (std::size_t c = 1; c < first_.size(); ++c) first_[c] += first_[c - 1];
  }
}

long TetLocator::cell_index(const std::array<double, 3> &p, std::size_t d) const {
  const long i = static_cast<long>(std::floor((p[d] - low_[d]) / cell_[d]));
  return std::clamp(i, 0L, cells_[d] - 1);
}

long TetLocator::find(const std::array<double, 3> &p) const {
  const std::size_t cell = static_cast<std::size_t>(
      (cell_index(p, 0) * cells_[1] + cell_index(p, 1)) * cells_[2] + cell_index(p, 2));
  long best = -1;
  double best_min = -1e-9;
  for (long m = first_[cell]; m < first_[cell + 1]; ++m) {
    const long t = members_[static_cast<std::size_t>(m)];
    const std::array<double, 4> l = barycentric(mesh_, static_cast<std::size_t>(t), p);
    const double least = *std::min_element(l.begin(), l.end());
    if (least >= 0.0) return t;
    if (least > best_min) {
      best_min = least;
      best = t;
    }
  }
  return best;
}

std::vector<PLANE_FACE> faces_in_plane_z(const TET_MESH &mesh, double z0, double tol) {
  std::vector<PLANE_FACE> faces;
  for (std::size_t t = 0; t < mesh.size(); ++t)
    for (std::size_t left_out = 0; left_out < 4; ++left_out) {
      std::array<std::array<double, 3>, 3> x{};
      bool in_plane = true;
      for (std::size_t k = 0, j = 0; k < 4; ++k) {
        if (k == left_out) continue;
        x[j] = mesh.points[static_cast<std::size_t>(mesh.corners[t][k])];
        in_plane = in_plane && std::fabs(x[j][2] - z0) <= tol;
        ++j;
      }
      if (!in_plane) continue;
      const double ux = x[1][0] - x[0][0], uy = x[1][1] - x[0][1];
      const double vx = x[2][0] - x[0][0], vy = x[2][1] - x[0][1];
      PLANE_FACE face{t, 0.5 * std::fabs(ux * vy - uy * vx), {}};
      for (std::size_t d = 0; d < 3; ++d) face.centroid[d] = (x[0][d] + x[1][d] + x[2][d]) / 3.0;
      faces.push_back(face);
    }
  return faces;
}

std::string make_gmsh_mesh(const std::string &geo, const std::vector<std::pair<std::string, double>> &numbers,
                           const std::string &out) {
  const std::string gmsh = TESMORA_GMSH_PATH;
  if (gmsh.empty())
    return "Gmsh was not found when the build was configured: run tools/setup.sh, then configure again";
  std::string command = "'" + gmsh + "' '" + geo + "' -3";
  for (const auto &[name, value] : numbers) {
    char setting[128];
    std::snprintf(setting, sizeof setting, " -setnumber %s %.17g", name.c_str(), value);
    command += setting;
  }
  command += " -format bdf -o '" + out + "' > '" + out + ".log' 2>&1";
  if (std::system(command.c_str()) != 0 || !file_exists(out))
    return "Gmsh failed on " + geo + " (if it is no longer installed, run tools/setup.sh):\n" +
           read_file(out + ".log");
  return std::string();
}

} // namespace tesmora::testing
