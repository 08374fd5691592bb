// Reading of the regular-mesh cards.
#include "input/regular_mesh.hpp"

#include "input/card_reader.hpp"

namespace tesmora {
namespace {

std::vector<REGULAR_MESH> the_regular_meshes;

} // namespace

const std::vector<REGULAR_MESH> &regular_meshes() { return the_regular_meshes; }

void read_regular_meshes(FFILE *file) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d", "* NO_REGULAR_MESH *\n", &v[0]);
  if (v[0] < 0) card_error(file);
  const int count = v[0];
  the_regular_meshes.assign(static_cast<std::size_t>(count), REGULAR_MESH{});
  for (REGULAR_MESH &mesh : the_regular_meshes) {
    read_card(file, "%lf %d %d", "* VELOCITY * REGULAR_NDIV * REGULAR_NMAT *\n", &r[0], &v[0], &v[1]);
    if (v[0] < 0 || v[1] < 0) card_error(file);
    mesh.velocity = r[0];
    mesh.ndiv = v[0];
    mesh.mat_ids.assign(static_cast<std::size_t>(v[1]), 0);
    read_int_list(file, "* MAT_ID_NOS *\n", v[1], mesh.mat_ids.data());
  }
}

} // namespace tesmora
