// placeholder
#include "mesh/mesh_converters.hpp"
namespace tesmora {
void convert_universal(const char *, const char *, CONVERT_FAULT &) {}
} // namespace tesmora
