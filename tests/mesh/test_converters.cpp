// The mesh converters: the table, the native text they write, each foreign format against a
// hand-written file, the Gmsh meshes of one geometry read in every format, and the card errors.
#include "mesh/mesh_converters.hpp"

#include "mesh/mesh_reader.hpp"
#include "mesh/mesh_test_support.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace tesmora;
using namespace tesmora::testing;

TEST(MeshConverters, TableRowsAreFilledAndUnique) {
  std::set<int> formats;
  for (const MESH_CONVERTER &row : mesh_converters()) {
    SCOPED_TRACE(row.input_mesh_file);
    EXPECT_NE(row.convert, nullptr);
    EXPECT_EQ(row.extension[0], '.');
    EXPECT_TRUE(formats.insert(row.input_mesh_file).second);
    EXPECT_EQ(find_mesh_converter(row.input_mesh_file), &row);
  }
  // The native text and the direct formats have no converter; 12 reads the ".msh" listing.
  for (int format : {0, 2, 13, 14}) EXPECT_EQ(find_mesh_converter(format), nullptr);
  EXPECT_STREQ(find_mesh_converter(12)->extension, ".msh");
  EXPECT_EQ(find_mesh_converter(12)->convert, find_mesh_converter(16)->convert);
  EXPECT_EQ(find_mesh_converter(3)->convert, find_mesh_converter(8)->convert);
}
