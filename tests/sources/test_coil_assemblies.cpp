// RECT and RACE coils: the half and quarter builds under symmetry planes give the full field,
// and a RECT coil is the sum of its sides and corners made by hand.
#include "coil_test_helpers.hpp"
#include "sources/coil_element.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>

using namespace tesmora;
using namespace tesmora::testing;
using namespace coil_test;

namespace {

const COIL_OPTIONS options;
const double points[][3] = {{0.1, 0.05, 0.02}, {0.45, -0.3, 0.1}, {-0.2, 0.33, -0.05}, {2.0, 1.0, 3.0}};

void expect_same_field(const COIL_ELEMENT &a, const COIL_ELEMENT &b, double rel) {
  for (const auto &p : points) {
    SCOPED_TRACE(p[0]);
    double Aa[3], Ab[3], Ba[3], Bb[3];
    a.A(p, options, Aa);
    b.A(p, options, Ab);
    a.B(p, options, Ba);
    b.B(p, options, Bb);
    const double A_size = std::hypot(Ab[0], Ab[1], Ab[2]), B_size = std::hypot(Bb[0], Bb[1], Bb[2]);
    for (int c = 0; c < 3; ++c) {
      expect_close(Aa[c], Ab[c], rel, rel * A_size);
      expect_close(Ba[c], Bb[c], rel, rel * B_size);
    }
  }
}

} // namespace

TEST(CoilAssemblies, SymmetricBuildsGiveTheFullField) {
  // Half sides and their mirror images make the full sides exactly in the closed form; the
  // arcs are integrated to 1e-6, and the images sum their quarter arcs in other pieces.
  for (COIL_KIND kind : {COIL_KIND::RECT, COIL_KIND::RACE}) {
    const bool rect = kind == COIL_KIND::RECT;
    COIL_ELEMENT_DATA full = rect ? element_data(kind, 500, {0, 0, 0.01, 0.4, 0.3, 0.08, 0.03, 0.05})
                                  : element_data(kind, 500, {0, 0, 0.01, 0.4, 0.15, 0.03, 0.05});
    auto whole = make_coil_element(full);
    EXPECT_EQ(whole->no_pieces(), rect ? 8 : 4);
    const int planes[3][3] = {{1, 0, 0}, {0, -1, 0}, {1, 1, 0}};
    const int pieces[3] = {rect ? 5 : 3, rect ? 5 : 3, rect ? 3 : 2};
    for (int s = 0; s < 3; ++s) {
      SCOPED_TRACE(s);
      COIL_ELEMENT_DATA part = full;
      for (int i = 0; i < 3; ++i) part.symmetry[i] = planes[s][i];
      auto built = make_coil_element(part);
      EXPECT_EQ(built->no_pieces(), pieces[s]);
      expect_same_field(*built, *whole, 3e-6);
    }
    // A centre off the plane takes the full build.
    COIL_ELEMENT_DATA shifted = full;
    shifted.values[0] = 0.2;
    shifted.symmetry[0] = 1;
    EXPECT_EQ(make_coil_element(shifted)->no_pieces(), rect ? 8 : 4);
  }
}

TEST(CoilAssemblies, RectIsItsSidesAndCornersByHand) {
  // X, Y, Z = (0.1, -0.05, 0.02); A = 0.4, B = 0.2, R = 0.06, W = 0.03, H = 0.05, 300 A.
  auto rect =
      make_coil_element(element_data(COIL_KIND::RECT, 300, {0.1, -0.05, 0.02, 0.4, 0.2, 0.06, 0.03, 0.05}));
  const double cx = 0.1, cy = -0.05, z = 0.02, ha = 0.2, hb = 0.1, R = 0.06, W = 0.03, H = 0.05;
  std::vector<std::unique_ptr<COIL_ELEMENT>> parts;
  auto side = [&](double xs, double ys, double xe, double ye, double nx, double ny) {
    parts.push_back(make_coil_element(element_data(
        COIL_KIND::GCE, 300, {cx + xs, cy + ys, z, cx + xe, cy + ye, z, W * nx, W * ny, 0, 0, 0, H})));
  };
  auto corner = [&](double x, double y, double phi1) {
    parts.push_back(make_coil_element(
        element_data(COIL_KIND::ARC, 300, {cx + x, cy + y, z, R, H, W, 0, 0, phi1, phi1 + 90})));
  };
  side(-ha, -hb - R, ha, -hb - R, 0, -1);
  corner(ha, -hb, -90);
  side(ha + R, -hb, ha + R, hb, 1, 0);
  corner(ha, hb, 0);
  side(ha, hb + R, -ha, hb + R, 0, 1);
  corner(-ha, hb, 90);
  side(-ha - R, hb, -ha - R, -hb, -1, 0);
  corner(-ha, -hb, 180);
  for (const auto &p : points) {
    double A[3], B[3], A_sum[3] = {}, B_sum[3] = {};
    rect->A(p, options, A);
    rect->B(p, options, B);
    for (const auto &part : parts) {
      double a[3], b[3];
      part->A(p, options, a);
      part->B(p, options, b);
      for (int c = 0; c < 3; ++c) {
        A_sum[c] += a[c];
        B_sum[c] += b[c];
      }
    }
    // The same closed forms and the same adaptive integrals: equal to rounding.
    for (int c = 0; c < 3; ++c) {
      expect_close(A[c], A_sum[c], 1e-12, 1e-12 * std::hypot(A[0], A[1], A[2]));
      expect_close(B[c], B_sum[c], 1e-12, 1e-12 * std::hypot(B[0], B[1], B[2]));
    }
  }
}
