// Structured test meshes of hexahedra, tetrahedra, prisms and pyramids.
#include "mesh/mesh_builder.hpp"

#include "job/memory.hpp"
#include "mesh/boundary.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"

#include <cmath>

namespace tesmora::testing {
namespace {

POINT corner(int i, int j, int k, double h) { return {i * h, j * h, k * h}; }

POINT minus(const POINT &a, const POINT &b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

double triple(const POINT &a, const POINT &b, const POINT &c) {
  return a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) +
         a[2] * (b[0] * c[1] - b[1] * c[0]);
}

const V_ELEMENT_TYPE &type_of(int code) { return *select_v_element_type(code, false, 1, 1, 0); }

} // namespace

int MESH_BUILDER::node_at(const POINT &p) {
  const std::array<long long, 3> key = {std::llround(p[0] * 1e9), std::llround(p[1] * 1e9),
                                        std::llround(p[2] * 1e9)};
  auto [entry, fresh] = index_.emplace(key, static_cast<int>(points_.size()));
  if (fresh) points_.push_back(p);
  return entry->second;
}

void MESH_BUILDER::add(const V_ELEMENT_TYPE &type, const std::vector<POINT> &positions, int mat_id) {
  ELEMENT element{&type, {}, mat_id};
  for (const POINT &p : positions) element.nodes.push_back(node_at(p));
  elements_.push_back(element);
}

void MESH_BUILDER::rotate(const std::array<double, 9> &r) {
  for (POINT &p : points_)
    p = {r[0] * p[0] + r[1] * p[1] + r[2] * p[2], r[3] * p[0] + r[4] * p[1] + r[5] * p[2],
         r[6] * p[0] + r[7] * p[1] + r[8] * p[2]};
}

MESHED_MODEL MESH_BUILDER::build() const {
  MESHED_MODEL model;
  model.no_nodes = static_cast<int>(points_.size());
  model.nodes = static_cast<NODE *>(calloc_named(points_.size(), sizeof(NODE), "nodes"));
  for (std::size_t i = 0; i < points_.size(); ++i) {
    model.nodes[i] = NODE{};
    model.nodes[i].id = static_cast<int>(i) + 1;
    model.nodes[i].x = points_[i][0];
    model.nodes[i].y = points_[i][1];
    model.nodes[i].z = points_[i][2];
  }
  model.min_node_id = 1;
  model.max_node_id = model.no_nodes;
  model.no_v_elements = static_cast<int>(elements_.size());
  model.v_elements =
      static_cast<V_ELEMENT *>(calloc_named(elements_.size(), sizeof(V_ELEMENT), "v_elements"));
  std::int64_t pointers = 0;
  for (const ELEMENT &e : elements_) pointers += static_cast<std::int64_t>(e.nodes.size());
  model.no_node_pointers = pointers;
  model.node_pointers = static_cast<NODE **>(
      calloc_named(static_cast<std::uint64_t>(pointers), sizeof(NODE *), "node_pointers"));
  NODE **next = model.node_pointers;
  for (std::size_t k = 0; k < elements_.size(); ++k) {
    V_ELEMENT &element = model.v_elements[k];
    element = V_ELEMENT{};
    element.id = static_cast<int>(k) + 1;
    element.type = elements_[k].type;
    element.mat_id = elements_[k].mat_id;
    element.nodes = next;
    for (std::size_t i = 0; i < elements_[k].nodes.size(); ++i) next[i] = &model.nodes[elements_[k].nodes[i]];
    next += elements_[k].nodes.size();
  }
  return model;
}

MESH_BUILDER MESH_BUILDER::hexahedra(int n, double h) {
  MESH_BUILDER b;
  const V_ELEMENT_TYPE &hexa = type_of(308);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k) {
        std::vector<POINT> positions;
        for (const POINT_3D &r : hexa.node_coordinates)
          positions.push_back({(i + (r[0] + 1) / 2) * h, (j + (r[1] + 1) / 2) * h, (k + (r[2] + 1) / 2) * h});
        b.add(hexa, positions, 1 + (i + j + k) % 2);
      }
  return b;
}

MESH_BUILDER MESH_BUILDER::tetrahedra(int n, double h) {
  MESH_BUILDER b;
  const V_ELEMENT_TYPE &tetra = type_of(304);
  const int axes[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k)
        for (const auto &order : axes) {
          // Kuhn's path from the cell's low corner to its high corner along three axes.
          int at[3] = {i, j, k};
          std::vector<POINT> v = {corner(at[0], at[1], at[2], h)};
          for (int axis : order) {
            ++at[axis];
            v.push_back(corner(at[0], at[1], at[2], h));
          }
          if (triple(minus(v[1], v[0]), minus(v[2], v[0]), minus(v[3], v[0])) < 0) std::swap(v[1], v[2]);
          b.add(tetra, v);
        }
  return b;
}

MESH_BUILDER MESH_BUILDER::prisms(int n, double h) {
  MESH_BUILDER b;
  const V_ELEMENT_TYPE &prism = type_of(306);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k) {
        const POINT c00 = corner(i, j, k, h), c10 = corner(i + 1, j, k, h), c11 = corner(i + 1, j + 1, k, h),
                    c01 = corner(i, j + 1, k, h);
        const POINT up = {0, 0, h};
        auto lift = [&](const POINT &p) { return POINT{p[0] + up[0], p[1] + up[1], p[2] + up[2]}; };
        b.add(prism, {c00, c10, c11, lift(c00), lift(c10), lift(c11)});
        b.add(prism, {c00, c11, c01, lift(c00), lift(c11), lift(c01)});
      }
  return b;
}

MESH_BUILDER MESH_BUILDER::pyramids(int n, double h) {
  MESH_BUILDER b;
  const V_ELEMENT_TYPE &pyramid = type_of(305);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k) {
        const POINT centre = {(i + 0.5) * h, (j + 0.5) * h, (k + 0.5) * h};
        // Each face of the cell is the base of one pyramid whose apex is the cell's centre.
        for (int axis = 0; axis < 3; ++axis)
          for (int side = 0; side < 2; ++side) {
            const int u = (axis + 1) % 3;
            const int v = (axis + 2) % 3;
            std::vector<POINT> base;
            const int square[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
            for (const auto &s : square) {
              int at[3] = {i, j, k};
              at[axis] += side;
              at[u] += s[0];
              at[v] += s[1];
              base.push_back(corner(at[0], at[1], at[2], h));
            }
            // The base must turn counter-clockwise seen from the apex.
            if (triple(minus(base[1], base[0]), minus(base[2], base[0]), minus(centre, base[0])) < 0)
              std::swap(base[1], base[3]);
            b.add(pyramid, {centre, base[0], base[1], base[2], base[3]});
          }
      }
  return b;
}

int number_model(MESHED_MODEL &model, int far_boundary_condition, int tree_gauge, bool uses_phi) {
  BOUNDARY_DATA boundary;
  boundary.far_boundary_condition = far_boundary_condition;
  make_model(model, boundary, tree_gauge, false);
  VARIABLE_OPTIONS variables;
  variables.far_boundary_condition = far_boundary_condition;
  variables.uses_phi = uses_phi;
  return make_variables(model, variables);
}

int number_natural_model(MESHED_MODEL &model, int tree_gauge, bool uses_phi) {
  return number_model(model, 1, tree_gauge, uses_phi);
}

} // namespace tesmora::testing
