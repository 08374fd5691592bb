// Gauss point sets: the 1-D Gauss-Legendre tables, the triangle and tetrahedron rules, the
// product and collapsed rules, and the process-wide active set with its slot table.
#include "mesh/gauss.hpp"

#include "job/memory.hpp"

#include <cstdint>

namespace tesmora {
namespace {

// Gauss-Legendre rules of 1 to 12 points, the roots of the Legendre polynomials and their
// weights 2 / ((1 - x^2) P_n'(x)^2), evaluated to 21 digits in multiple precision.
// Points of the n-point rules, n = 1 to 12, each ascending; rule n starts at n(n-1)/2.
constexpr double legendre_points[78] = {
    // 1
    0.0,
    // 2
    -0.577350269189625764509,
    0.577350269189625764509,
    // 3
    -0.774596669241483377036,
    0.0,
    0.774596669241483377036,
    // 4
    -0.861136311594052575224,
    -0.339981043584856264803,
    0.339981043584856264803,
    0.861136311594052575224,
    // 5
    -0.906179845938663992798,
    -0.538469310105683091036,
    0.0,
    0.538469310105683091036,
    0.906179845938663992798,
    // 6
    -0.932469514203152027812,
    -0.661209386466264513661,
    -0.238619186083196908631,
    0.238619186083196908631,
    0.661209386466264513661,
    0.932469514203152027812,
    // 7
    -0.949107912342758524526,
    -0.741531185599394439864,
    -0.405845151377397166907,
    0.0,
    0.405845151377397166907,
    0.741531185599394439864,
    0.949107912342758524526,
    // 8
    -0.960289856497536231684,
    -0.796666477413626739592,
    -0.525532409916328985818,
    -0.183434642495649804939,
    0.183434642495649804939,
    0.525532409916328985818,
    0.796666477413626739592,
    0.960289856497536231684,
    // 9
    -0.968160239507626089836,
    -0.836031107326635794299,
    -0.613371432700590397309,
    -0.324253423403808929039,
    0.0,
    0.324253423403808929039,
    0.613371432700590397309,
    0.836031107326635794299,
    0.968160239507626089836,
    // 10
    -0.973906528517171720078,
    -0.865063366688984510732,
    -0.679409568299024406234,
    -0.433395394129247190799,
    -0.148874338981631210885,
    0.148874338981631210885,
    0.433395394129247190799,
    0.679409568299024406234,
    0.865063366688984510732,
    0.973906528517171720078,
    // 11
    -0.978228658146056992804,
    -0.887062599768095299075,
    -0.730152005574049324093,
    -0.519096129206811815926,
    -0.269543155952344972332,
    0.0,
    0.269543155952344972332,
    0.519096129206811815926,
    0.730152005574049324093,
    0.887062599768095299075,
    0.978228658146056992804,
    // 12
    -0.981560634246719250691,
    -0.904117256370474856678,
    -0.769902674194304687037,
    -0.587317954286617447297,
    -0.367831498998180193753,
    -0.125233408511468915472,
    0.125233408511468915472,
    0.367831498998180193753,
    0.587317954286617447297,
    0.769902674194304687037,
    0.904117256370474856678,
    0.981560634246719250691,
};
// Weights in the same order.
constexpr double legendre_weights[78] = {
    // 1
    2.00000000000000000000,
    // 2
    1.00000000000000000000,
    1.00000000000000000000,
    // 3
    0.555555555555555555556,
    0.888888888888888888889,
    0.555555555555555555556,
    // 4
    0.347854845137453857373,
    0.652145154862546142627,
    0.652145154862546142627,
    0.347854845137453857373,
    // 5
    0.236926885056189087514,
    0.478628670499366468041,
    0.568888888888888888889,
    0.478628670499366468041,
    0.236926885056189087514,
    // 6
    0.171324492379170345040,
    0.360761573048138607570,
    0.467913934572691047390,
    0.467913934572691047390,
    0.360761573048138607570,
    0.171324492379170345040,
    // 7
    0.129484966168869693271,
    0.279705391489276667901,
    0.381830050505118944950,
    0.417959183673469387755,
    0.381830050505118944950,
    0.279705391489276667901,
    0.129484966168869693271,
    // 8
    0.101228536290376259153,
    0.222381034453374470544,
    0.313706645877887287338,
    0.362683783378361982965,
    0.362683783378361982965,
    0.313706645877887287338,
    0.222381034453374470544,
    0.101228536290376259153,
    // 9
    0.0812743883615744119719,
    0.180648160694857404058,
    0.260610696402935462319,
    0.312347077040002840069,
    0.330239355001259763165,
    0.312347077040002840069,
    0.260610696402935462319,
    0.180648160694857404058,
    0.0812743883615744119719,
    // 10
    0.0666713443086881375936,
    0.149451349150580593146,
    0.219086362515982043996,
    0.269266719309996355091,
    0.295524224714752870174,
    0.295524224714752870174,
    0.269266719309996355091,
    0.219086362515982043996,
    0.149451349150580593146,
    0.0666713443086881375936,
    // 11
    0.0556685671161736664828,
    0.125580369464904624635,
    0.186290210927734251426,
    0.233193764591990479919,
    0.262804544510246662181,
    0.272925086777900630714,
    0.262804544510246662181,
    0.233193764591990479919,
    0.186290210927734251426,
    0.125580369464904624635,
    0.0556685671161736664828,
    // 12
    0.0471753363865118271946,
    0.106939325995318430960,
    0.160078328543346226335,
    0.203167426723065921749,
    0.233492536538354808761,
    0.249147045813402785001,
    0.249147045813402785001,
    0.233492536538354808761,
    0.203167426723065921749,
    0.160078328543346226335,
    0.106939325995318430960,
    0.0471753363865118271946,
};

int legendre_offset(int n) { return n * (n - 1) / 2; }

void allocate_points(GAUSS_POINTS &set, int no_dimensions, int no_points) {
  set.no_dimensions = no_dimensions;
  set.no_points = no_points;
  set.p = static_cast<double **>(
      calloc_named(static_cast<std::uint64_t>(no_dimensions), sizeof(double *), "gauss->p"));
  for (int d = 0; d < no_dimensions; ++d)
    set.p[d] = calloc_double(static_cast<std::uint64_t>(no_points), "gauss->p[i]");
  set.w = calloc_double(static_cast<std::uint64_t>(no_points), "gauss->w");
}

void release_points(GAUSS_POINTS &set) {
  for (int d = 0; d < set.no_dimensions; ++d) free_named(set.p[d], "gauss->p[i]");
  free_named(set.p, "gauss->p");
  free_named(set.w, "gauss->w");
  set = GAUSS_POINTS{};
}

bool is_line_order(int n) { return n >= 1 && n <= 12; }

void fill_line(GAUSS_POINTS &set, int n) {
  allocate_points(set, 1, n);
  if (!is_line_order(n)) return;
  for (int i = 0; i < n; ++i) {
    set.p[0][i] = legendre_point(n, i);
    set.w[i] = legendre_weight(n, i);
  }
}

// Tensor product; the innermost loop runs over the first coordinate.
void fill_product(GAUSS_POINTS &set, int n, int no_dimensions) {
  const int total = no_dimensions == 2 ? n * n : n * n * n;
  allocate_points(set, no_dimensions, total);
  if (!is_line_order(n)) return;
  const int outer = no_dimensions == 2 ? 1 : n;
  int k = 0;
  for (int c = 0; c < outer; ++c)
    for (int b = 0; b < n; ++b)
      for (int a = 0; a < n; ++a, ++k) {
        set.p[0][k] = legendre_point(n, a);
        set.p[1][k] = legendre_point(n, b);
        set.w[k] = legendre_weight(n, a) * legendre_weight(n, b);
        if (no_dimensions == 3) {
          set.p[2][k] = legendre_point(n, c);
          set.w[k] *= legendre_weight(n, c);
        }
      }
}

// A triangle point given by its first two barycentric coordinates.
struct TRIANGLE_POINT {
  double a, b, w;
};

int triangle_rule_size(int m) {
  switch (m) {
  case -3:
    return 3;
  case 1:
    return 1;
  case 3:
    return 3;
  case 4:
    return 4;
  case 6:
    return 6;
  case 7:
    return 7;
  case 12:
    return 12;
  default:
    return 0;
  }
}

// Writes the three points of a symmetric orbit (a, a, 1 - 2a) and returns the next index.
int put_orbit3(TRIANGLE_POINT *out, int k, double a, double w) {
  const double c = 1.0 - 2.0 * a;
  out[k++] = {a, a, w};
  out[k++] = {c, a, w};
  out[k++] = {a, c, w};
  return k;
}

// The six permutations of (a, b, c) with a + b + c = 1.
int put_orbit6(TRIANGLE_POINT *out, int k, double a, double b, double w) {
  const double c = 1.0 - a - b;
  out[k++] = {a, b, w};
  out[k++] = {b, a, w};
  out[k++] = {a, c, w};
  out[k++] = {c, a, w};
  out[k++] = {b, c, w};
  out[k++] = {c, b, w};
  return k;
}

// Fills out[0 .. triangle_rule_size(m) - 1] with the points of triangle rule m.
void triangle_rule(int m, TRIANGLE_POINT *out) {
  const double third = 1.0 / 3.0;
  const double sixth = 1.0 / 6.0;
  switch (m) {
  case -3:
    out[0] = {0.5, 0.0, sixth};
    out[1] = {0.5, 0.5, sixth};
    out[2] = {0.0, 0.5, sixth};
    break;
  case 1:
    out[0] = {third, third, 0.5};
    break;
  case 3:
    out[0] = {sixth, sixth, sixth};
    out[1] = {2.0 / 3.0, sixth, sixth};
    out[2] = {sixth, 2.0 / 3.0, sixth};
    break;
  case 4:
    out[0] = {third, third, -0.28125};
    out[1] = {0.2, 0.2, 0.2604166666666667};
    out[2] = {0.6, 0.2, 0.2604166666666667};
    out[3] = {0.2, 0.6, 0.2604166666666667};
    break;
  case 6:
    put_orbit3(out, put_orbit3(out, 0, 0.445948490915965, 0.111690794839005), 0.091576213509771,
               0.054975871827661);
    break;
  case 7:
    out[0] = {third, third, 0.1125};
    put_orbit3(out, put_orbit3(out, 1, 0.47014206410511505, 0.06619707639425308), 0.10128650732345634,
               0.0629695902724136);
    break;
  case 12: {
    int k = put_orbit3(out, 0, 0.24928674517091, 0.058393137863189);
    k = put_orbit3(out, k, 0.063089014491502, 0.025422453185103);
    put_orbit6(out, k, 0.053145049844816, 0.310352451033785, 0.041425537809187);
    break;
  }
  default:
    break;
  }
}

void fill_triangle(GAUSS_POINTS &set, int m) {
  TRIANGLE_POINT points[12] = {};
  const int count = triangle_rule_size(m);
  triangle_rule(m, points);
  allocate_points(set, 2, count);
  for (int k = 0; k < count; ++k) {
    set.p[0][k] = points[k].a;
    set.p[1][k] = points[k].b;
    set.w[k] = points[k].w;
  }
}

// For each line point (outer loop) each triangle point (inner): (a, b, p), weight the product.
void fill_prism(GAUSS_POINTS &set, int n, int m) {
  TRIANGLE_POINT points[12] = {};
  const int count = triangle_rule_size(m);
  triangle_rule(m, points);
  allocate_points(set, 3, count * n);
  if (!is_line_order(n)) return;
  int k = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < count; ++j, ++k) {
      set.p[0][k] = points[j].a;
      set.p[1][k] = points[j].b;
      set.p[2][k] = legendre_point(n, i);
      set.w[k] = points[j].w * legendre_weight(n, i);
    }
}

void fill_tetrahedron(GAUSS_POINTS &set, int rule) {
  const int count = rule == 1 ? 1 : rule == 4 ? 4 : rule == 5 ? 5 : 0;
  allocate_points(set, 3, count);
  const auto put = [&set](int k, double x, double y, double z, double w) {
    set.p[0][k] = x;
    set.p[1][k] = y;
    set.p[2][k] = z;
    set.w[k] = w;
  };
  if (rule == 1) put(0, 0.25, 0.25, 0.25, 1.0 / 6.0);
  if (rule == 4) {
    const double a = 0.1381966011250105;
    const double b = 0.5854101966249685;
    put(0, a, a, a, 1.0 / 24.0);
    put(1, a, a, b, 1.0 / 24.0);
    put(2, a, b, a, 1.0 / 24.0);
    put(3, b, a, a, 1.0 / 24.0);
  }
  if (rule == 5) {
    const double s = 1.0 / 6.0;
    put(0, 0.25, 0.25, 0.25, -2.0 / 15.0);
    put(1, s, s, s, 0.075);
    put(2, s, s, 0.5, 0.075);
    put(3, s, 0.5, s, 0.075);
    put(4, 0.5, s, s, 0.075);
  }
}

// The hexahedral rule collapsed onto the pyramid: zeta = (p_i + 1)/2 and the base square
// shrunk by q = 1 - zeta, so the weight carries the Jacobian q^2 / 2 of the collapse.
void fill_pyramid(GAUSS_POINTS &set, int n) {
  allocate_points(set, 3, n * n * n);
  if (!is_line_order(n)) return;
  int m = 0;
  for (int i = 0; i < n; ++i) {
    const double zeta = (legendre_point(n, i) + 1.0) / 2.0;
    const double q = 1.0 - zeta;
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k, ++m) {
        set.p[0][m] = legendre_point(n, k) * q;
        set.p[1][m] = legendre_point(n, j) * q;
        set.p[2][m] = zeta;
        set.w[m] = legendre_weight(n, k) * q * legendre_weight(n, j) * q * legendre_weight(n, i) / 2.0;
      }
  }
}

// Process-wide state: the active record and the slot table.
GAUSS *active_record = nullptr;
GAUSS_POINTS **slot_table = nullptr;

GAUSS_POINTS **slots() {
  if (!slot_table)
    slot_table =
        static_cast<GAUSS_POINTS **>(calloc_named(no_gauss_slots, sizeof(GAUSS_POINTS *), "gauus_pointer"));
  return slot_table;
}

} // namespace

double legendre_point(int n, int i) { return legendre_points[legendre_offset(n) + i]; }
double legendre_weight(int n, int i) { return legendre_weights[legendre_offset(n) + i]; }

GAUSS *make_gauss(int line_order, int triangle_order, int tetra_order) {
  auto *record = static_cast<GAUSS *>(calloc_named(1, sizeof(GAUSS), "gauss"));
  record->line_order = line_order;
  record->triangle_order = triangle_order;
  record->tetra_order = tetra_order;
  fill_line(record->line, line_order);
  fill_product(record->quadrilateral, line_order, 2);
  fill_triangle(record->triangle, triangle_order);
  fill_product(record->hexahedron, line_order, 3);
  fill_prism(record->prism, line_order, triangle_order);
  fill_tetrahedron(record->tetrahedron, tetra_order);
  fill_pyramid(record->pyramid, line_order);
  active_record = record;
  set_gauss(record);
  return record;
}

void set_gauss(GAUSS *record) {
  GAUSS_POINTS **table = slots();
  table[GAUSS_LINE] = &record->line;
  table[GAUSS_QUADRILATERAL] = &record->quadrilateral;
  table[GAUSS_HEXAHEDRON] = &record->hexahedron;
  table[GAUSS_TRIANGLE] = &record->triangle;
  table[GAUSS_PRISM] = &record->prism;
  table[GAUSS_TETRAHEDRON] = &record->tetrahedron;
  table[GAUSS_PYRAMID] = &record->pyramid;
}

void free_gauss(GAUSS *record) {
  if (!record) return;
  if (slot_table && slot_table[GAUSS_LINE] == &record->line)
    for (int s = 0; s < no_gauss_slots; ++s) slot_table[s] = nullptr;
  if (active_record == record) active_record = nullptr;
  release_points(record->line);
  release_points(record->quadrilateral);
  release_points(record->triangle);
  release_points(record->hexahedron);
  release_points(record->prism);
  release_points(record->tetrahedron);
  release_points(record->pyramid);
  free_named(record, "gauss");
}

GAUSS *active_gauss() { return active_record; }

GAUSS_POINTS *make_line_gauss(int n) {
  auto *set = static_cast<GAUSS_POINTS *>(calloc_named(1, sizeof(GAUSS_POINTS), "gauss"));
  fill_line(*set, n);
  return set;
}

void free_gauss_points(GAUSS_POINTS *points) {
  if (!points) return;
  release_points(*points);
  free_named(points, "gauss");
}

GAUSS_POINTS *const *gauus_pointer() { return slots(); }

const GAUSS_POINTS &gauss_points(GAUSS_SLOT slot) { return *slots()[slot]; }

} // namespace tesmora
