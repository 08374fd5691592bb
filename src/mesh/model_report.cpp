// Summary tables of the model.
#include "mesh/model_report.hpp"

#include "job/report.hpp"
#include "mesh/element_transform.hpp"
#include "mesh/gauss.hpp"

#include <string>

namespace tesmora {
namespace {

const char *const potential_names[] = {
    "A_EDGE", "A_EDGE_SOURCE", "PHI_NODE",       "", "OMEGA_NODE", "UPWIND", "DOWNWIND", "", "", "", "",
    "",       "A_EDGE_GIVEN",  "PHI_NODE_SUFCUR"};

void stars(std::FILE *out) { write_report(out, "%s\n", std::string(97, '*').c_str()); }

void write_related(std::FILE *out, const RELATED_LIST *related, int base) {
  if (!related || related->count == 0) {
    write_report(out, "        - \n");
    return;
  }
  for (int k = 0; k < related->count; ++k) write_report(out, " %9d", related->entries[k].partner + base);
  write_report(out, "\n");
}

// Numbers of a connection table, `per_line` to a line, after the element number.
template <class F> void write_connection(std::FILE *out, int number, int count, int per_line, F value) {
  write_report(out, "%10d:", number);
  for (int i = 0; i < count; ++i) {
    if (i > 0 && i % per_line == 0) write_report(out, "\n           ");
    write_report(out, " %9d", value(i));
  }
  write_report(out, "\n");
}

void element_coordinates(const V_ELEMENT &element, double (*xyz)[3]) {
  for (int i = 0; i < element.type->no_nodes; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
  }
}

} // namespace

void compute_element_geometry(MESHED_MODEL &part) {
  TRANSFORM_SCRATCH scratch;
  double xyz[max_element_nodes][3];
  for (int k = 0; k < part.no_v_elements; ++k) {
    V_ELEMENT &element = part.v_elements[k];
    element_coordinates(element, xyz);
    const POINT_3D &c = element.type->center;
    element_point(*element.type, xyz, c[0], c[1], c[2], element.center, scratch);
    // Before the integration points are made (a job reading its model only) the volume stays 0.
    GAUSS_POINTS *const *slots = gauus_pointer();
    const GAUSS_POINTS *points = slots ? slots[element.type->gauss] : nullptr;
    element.volume =
        points && points->no_points > 0 ? element_volume(*element.type, xyz, *points, scratch) : 0.0;
  }
}

void print_edges(std::FILE *out, const MESHED_MODEL &part) {
  stars(out);
  write_report(
      out,
      "*                              Edges        no_edges = %5d                                    *\n",
      part.no_edges);
  stars(out);
  write_report(out, "               Start        End      on      on      on      on     on     on\n");
  write_report(out, "      No.      node         nod      cnd     Bn0     bnd     int    slide  total    "
                    "tree      related \n");
  for (int e = 0; e < part.no_edges; ++e) {
    const EDGE &edge = part.edges[e];
    write_report(out, "%9d %10d %10d %8d %7d %7d %7d %6d %6d %7d", edge.id, edge.start->id, edge.end->id,
                 static_cast<int>(edge.on_cnd), static_cast<int>(edge.on_Bn0), static_cast<int>(edge.on_bnd),
                 static_cast<int>(edge.on_int), edge.on_slide, static_cast<int>(edge.on_total),
                 static_cast<int>(edge.tree));
    write_related(out, edge.related, 1);
  }
  write_report(out, "\n\n");
}

void print_nodes(std::FILE *out, const MESHED_MODEL &part) {
  stars(out);
  write_report(out, "*                              NODE\t\tnumber of nodes = %6d\n", part.no_nodes);
  stars(out);
  write_report(
      out, "        No.         X (m)         Y (m)         Z (m)      cnd  Bn0  Ht0  bnd  int related\n");
  for (int i = 0; i < part.no_nodes; ++i) {
    const NODE &n = part.nodes[i];
    write_report(out, "%11d %13.5e %13.5e %13.5e %5d%5d%5d%5d%5d", n.id, n.x, n.y, n.z,
                 static_cast<int>(n.on_cnd), static_cast<int>(n.on_Bn0), static_cast<int>(n.on_Ht0),
                 static_cast<int>(n.on_bnd), static_cast<int>(n.on_int));
    write_related(out, n.related, 1);
  }
  write_report(out, "\n\n");
}

void print_v_elements(std::FILE *out, const MESHED_MODEL &part) {
  stars(out);
  write_report(out, "*                              Volume elements        no_v_elements = %5d\n",
               part.no_v_elements);
  stars(out);
  write_report(
      out, "       No.      Type    No.    No.        X (m)          Y (m)          Z (m)    Volume(m**3)\n");
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    write_report(out, "%10d %9s %6d %6d %14.5e %14.5e %14.5e %14.5e\n", element.id, element.type->short_name,
                 static_cast<int>(element.rgn), element.mat_id, element.center[0], element.center[1],
                 element.center[2], element.volume);
  }
  write_report(out, "---------- Node connection table ----------\n");
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    write_connection(out, element.id, element.type->no_nodes, 10,
                     [&](int i) { return element.nodes[i]->id; });
  }
  write_report(out, "---------- Edge connection table ----------\n");
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    if (!element.edges) continue;
    write_connection(out, element.id, element.type->no_edges, 12, [&](int i) {
      const bool forward = (element.edge_direction >> i) & 1u;
      return forward ? element.edges[i]->id : -element.edges[i]->id;
    });
  }
  write_report(out, "\n\n");
}

void print_s_elements(std::FILE *out, const MESHED_MODEL &part) {
  int impedance = 0;
  for (int k = 0; k < part.no_input_s_elements; ++k)
    impedance += part.input_s_elements[k].kind == s_impedance;
  stars(out);
  write_report(
      out,
      "*                              Surface elements (Total Reduce Boundary )       no_s_elements = %5d\n",
      part.no_s_elements);
  stars(out);
  write_report(out, "---------- Node connection table ----------\n");
  for (const S_ELEMENT *s = part.s_elements; s; s = s->next)
    write_connection(out, s->id, s->type->no_nodes, 10, [&](int i) { return s->nodes[i]->id; });
  stars(out);
  write_report(
      out,
      "*                              Surface elements (Impedance Boundary )   no_impedance_elements = %5d\n",
      impedance);
  stars(out);
  write_report(out, "---------- Node connection table ----------\n");
  for (int k = 0; k < part.no_input_s_elements; ++k) {
    const S_ELEMENT &s = part.input_s_elements[k];
    if (s.kind == s_impedance)
      write_connection(out, s.id, s.type->no_nodes, 10, [&](int i) { return s.nodes[i]->id; });
  }
  write_report(out, "---------- Edge connection table ----------\n");
  for (int k = 0; k < part.no_input_s_elements; ++k) {
    const S_ELEMENT &s = part.input_s_elements[k];
    if (s.kind != s_impedance || !s.edges) continue;
    write_connection(out, s.id, s.type->no_edges, 12, [&](int i) {
      const bool forward = (s.edge_direction >> i) & 1u;
      return forward ? s.edges[i]->id : -s.edges[i]->id;
    });
  }
  write_report(out, "\n\n");
}

void print_potentials(std::FILE *out, const MESHED_MODEL &part) {
  auto write_terms = [&](int number, const POTENTIAL_TERMS *terms) {
    for (int k = 0; terms && k < terms->no_terms; ++k) {
      const POTENTIAL_TERM &t = terms->terms[k];
      if (t.name == FREE_TERM) continue;
      const char *name = t.name >= 0 && t.name < 14 ? potential_names[t.name] : "";
      write_report(out, "%9d  %-16s %9d    %12.5e\n", number, name, t.position, t.coefficient);
    }
  };
  write_report(out, "*                              Edge potentials\n");
  write_report(out, "      No.  name         position    coefficient  \n");
  for (int e = 0; e < part.no_edges; ++e) write_terms(part.edges[e].id, part.edges[e].potentials);
  write_report(out, "*                              Node potentials\n");
  write_report(out, "      No.  name         position    coefficient  \n");
  for (int i = 0; i < part.no_nodes; ++i) write_terms(part.nodes[i].id, part.nodes[i].potentials);
  write_report(out, "\n\n");
}

} // namespace tesmora
