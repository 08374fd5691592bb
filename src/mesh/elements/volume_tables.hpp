// Reference data of the volume families: node coordinates, edges, faces and node orders.
// Local numbers are 1-based; row i of a table describes local number i + 1, row f face f.
#pragma once

#include "mesh/element_catalogue.hpp"

namespace tesmora::element_tables {

// Hexahedra: corners, the twelve edge mid nodes, then the six face centres and the centre.
inline constexpr POINT_3D hexa27_nodes[27] = {
    {-1, -1, -1}, {1, -1, -1}, {1, 1, -1},  {-1, 1, -1}, {-1, -1, 1}, {1, -1, 1},  {1, 1, 1},
    {-1, 1, 1},   {0, -1, -1}, {0, 1, -1},  {0, 1, 1},   {0, -1, 1},  {-1, 0, -1}, {-1, 0, 1},
    {1, 0, 1},    {1, 0, -1},  {-1, -1, 0}, {1, -1, 0},  {1, 1, 0},   {-1, 1, 0},  {0, 0, -1},
    {0, 0, 1},    {-1, 0, 0},  {1, 0, 0},   {0, -1, 0},  {0, 1, 0},   {0, 0, 0}};
inline constexpr POINT_3D prism15_nodes[15] = {
    {0, 0, -1},  {1, 0, -1}, {0, 1, -1},  {0, 0, 1},  {1, 0, 1}, {0, 1, 1}, {.5, 0, -1}, {.5, .5, -1},
    {0, .5, -1}, {.5, 0, 1}, {.5, .5, 1}, {0, .5, 1}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
inline constexpr POINT_3D tetra10_nodes[10] = {{0, 0, 0},  {1, 0, 0},  {0, 1, 0},   {0, 0, 1},   {.5, 0, 0},
                                               {0, .5, 0}, {0, 0, .5}, {.5, .5, 0}, {0, .5, .5}, {.5, 0, .5}};
// The apex is node 1. Nodes 10 to 13 stand where they are listed, off the slant edges.
inline constexpr POINT_3D pyramid13_nodes[13] = {{0, 0, 1},  {-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0},
                                                 {0, -1, 0}, {0, 1, 0},   {-1, 0, 0}, {1, 0, 0}, {0, -1, .5},
                                                 {0, 1, .5}, {-1, 0, .5}, {1, 0, .5}};

inline constexpr EDGE_ENDS hexa_e12_edges[12] = {{1, 2}, {4, 3}, {8, 7}, {5, 6}, {1, 4}, {5, 8},
                                                 {6, 7}, {2, 3}, {1, 5}, {2, 6}, {3, 7}, {4, 8}};
inline constexpr EDGE_ENDS hexa_e36_edges[36] = {
    {1, 9},   {4, 10},  {8, 11},  {5, 12},  {9, 2},   {10, 3}, {11, 7},  {12, 6},  {13, 16},
    {20, 19}, {14, 15}, {17, 18}, {1, 13},  {5, 14},  {6, 15}, {2, 16},  {13, 4},  {14, 8},
    {15, 7},  {16, 3},  {17, 20}, {12, 11}, {18, 19}, {9, 10}, {1, 17},  {2, 18},  {3, 19},
    {4, 20},  {17, 5},  {18, 6},  {19, 7},  {20, 8},  {9, 12}, {16, 15}, {10, 11}, {13, 14}};
inline constexpr EDGE_ENDS hexa_e54_edges[54] = {
    {1, 9},   {4, 10},  {8, 11},  {5, 12},  {9, 2},   {10, 3},  {11, 7},  {12, 6},  {13, 21},
    {20, 26}, {14, 22}, {17, 25}, {21, 16}, {26, 19}, {22, 15}, {25, 18}, {23, 27}, {27, 24},
    {1, 13},  {5, 14},  {6, 15},  {2, 16},  {13, 4},  {14, 8},  {15, 7},  {16, 3},  {17, 23},
    {12, 22}, {18, 24}, {9, 21},  {23, 20}, {22, 11}, {24, 19}, {21, 10}, {25, 27}, {27, 26},
    {1, 17},  {2, 18},  {3, 19},  {4, 20},  {17, 5},  {18, 6},  {19, 7},  {20, 8},  {9, 25},
    {16, 24}, {10, 26}, {13, 23}, {25, 12}, {24, 15}, {26, 11}, {23, 14}, {21, 27}, {27, 22}};
inline constexpr EDGE_ENDS prism_e9_edges[9] = {{1, 2}, {2, 3}, {3, 1}, {4, 5}, {5, 6},
                                                {6, 4}, {1, 4}, {2, 5}, {3, 6}};
inline constexpr EDGE_ENDS tetra_e6_edges[6] = {{1, 2}, {1, 3}, {1, 4}, {2, 3}, {3, 4}, {4, 2}};
inline constexpr EDGE_ENDS tetra_e18_edges[18] = {{1, 2},  {1, 3}, {1, 4},  {2, 3},  {3, 4},  {4, 2},
                                                  {5, 8},  {6, 5}, {8, 6},  {6, 9},  {7, 6},  {9, 7},
                                                  {7, 10}, {5, 7}, {10, 5}, {10, 9}, {8, 10}, {9, 8}};
inline constexpr EDGE_ENDS tetra_e24_edges[24] = {
    {1, 5}, {2, 5}, {1, 6}, {3, 6}, {1, 7}, {4, 7}, {2, 8},  {3, 8}, {3, 9},  {4, 9},  {4, 10}, {2, 10},
    {5, 8}, {6, 5}, {8, 6}, {6, 9}, {7, 6}, {9, 7}, {7, 10}, {5, 7}, {10, 5}, {10, 9}, {8, 10}, {9, 8}};
inline constexpr EDGE_ENDS pyramid_e8_edges[8] = {{1, 2}, {1, 3}, {1, 4}, {1, 5},
                                                  {2, 3}, {5, 4}, {2, 5}, {3, 4}};

// Faces: face_nodes_in keeps the right-hand normal pointing into the element; the out rows
// keep the first node and reverse the other corners, the mid nodes following the corners.
inline constexpr FACE_NODE_ROW hexa8_faces_in[6] = {{1, 2, 3, 4}, {5, 8, 7, 6}, {1, 5, 6, 2},
                                                    {2, 6, 7, 3}, {4, 3, 7, 8}, {1, 4, 8, 5}};
inline constexpr FACE_NODE_ROW hexa8_faces_out[6] = {{1, 4, 3, 2}, {5, 6, 7, 8}, {1, 2, 6, 5},
                                                     {2, 3, 7, 6}, {4, 8, 7, 3}, {1, 5, 8, 4}};
inline constexpr FACE_NODE_ROW hexa20_faces_in[6] = {
    {1, 2, 3, 4, 9, 10, 13, 16},  {5, 8, 7, 6, 14, 15, 12, 11}, {1, 5, 6, 2, 17, 18, 9, 12},
    {2, 6, 7, 3, 18, 19, 16, 15}, {4, 3, 7, 8, 10, 11, 20, 19}, {1, 4, 8, 5, 13, 14, 17, 20}};
inline constexpr FACE_NODE_ROW hexa20_faces_out[6] = {
    {1, 4, 3, 2, 13, 16, 9, 10},  {5, 6, 7, 8, 12, 11, 14, 15}, {1, 2, 6, 5, 9, 12, 17, 18},
    {2, 3, 7, 6, 16, 15, 18, 19}, {4, 8, 7, 3, 20, 19, 10, 11}, {1, 5, 8, 4, 17, 20, 13, 14}};
inline constexpr FACE_NODE_ROW hexa27_faces_in[6] = {
    {1, 2, 3, 4, 9, 10, 13, 16, 21},  {5, 8, 7, 6, 14, 15, 12, 11, 22}, {1, 5, 6, 2, 17, 18, 9, 12, 25},
    {2, 6, 7, 3, 18, 19, 16, 15, 24}, {4, 3, 7, 8, 10, 11, 20, 19, 26}, {1, 4, 8, 5, 13, 14, 17, 20, 23}};
inline constexpr FACE_NODE_ROW hexa27_faces_out[6] = {
    {1, 4, 3, 2, 13, 16, 9, 10, 21},  {5, 6, 7, 8, 12, 11, 14, 15, 22}, {1, 2, 6, 5, 9, 12, 17, 18, 25},
    {2, 3, 7, 6, 16, 15, 18, 19, 24}, {4, 8, 7, 3, 20, 19, 10, 11, 26}, {1, 5, 8, 4, 17, 20, 13, 14, 23}};
inline constexpr FACE_NODE_ROW prism6_faces_in[5] = {
    {1, 2, 3}, {4, 6, 5}, {1, 4, 5, 2}, {2, 5, 6, 3}, {3, 6, 4, 1}};
inline constexpr FACE_NODE_ROW prism6_faces_out[5] = {
    {1, 3, 2}, {4, 5, 6}, {1, 2, 5, 4}, {2, 3, 6, 5}, {3, 1, 4, 6}};
inline constexpr FACE_NODE_ROW prism15_faces_in[5] = {{1, 2, 3, 7, 8, 9},
                                                      {4, 6, 5, 12, 11, 10},
                                                      {1, 4, 5, 2, 13, 14, 7, 10},
                                                      {2, 5, 6, 3, 14, 15, 8, 11},
                                                      {3, 6, 4, 1, 15, 13, 9, 12}};
inline constexpr FACE_NODE_ROW prism15_faces_out[5] = {{1, 3, 2, 9, 8, 7},
                                                       {4, 5, 6, 10, 11, 12},
                                                       {1, 2, 5, 4, 7, 10, 13, 14},
                                                       {2, 3, 6, 5, 8, 11, 14, 15},
                                                       {3, 1, 4, 6, 9, 12, 15, 13}};
inline constexpr FACE_NODE_ROW tetra4_faces_in[4] = {{2, 4, 3}, {1, 3, 4}, {1, 4, 2}, {1, 2, 3}};
inline constexpr FACE_NODE_ROW tetra4_faces_out[4] = {{2, 3, 4}, {1, 4, 3}, {1, 2, 4}, {1, 3, 2}};
inline constexpr FACE_NODE_ROW tetra10_faces_in[4] = {
    {2, 4, 3, 10, 9, 8}, {1, 3, 4, 6, 9, 7}, {1, 4, 2, 7, 10, 5}, {1, 2, 3, 5, 8, 6}};
inline constexpr FACE_NODE_ROW tetra10_faces_out[4] = {
    {2, 3, 4, 8, 9, 10}, {1, 4, 3, 7, 9, 6}, {1, 2, 4, 5, 10, 7}, {1, 3, 2, 6, 8, 5}};
inline constexpr FACE_NODE_ROW pyramid5_faces_in[5] = {
    {2, 3, 4, 5}, {1, 3, 2}, {1, 4, 3}, {1, 5, 4}, {1, 2, 5}};
inline constexpr FACE_NODE_ROW pyramid5_faces_out[5] = {
    {2, 5, 4, 3}, {1, 2, 3}, {1, 3, 4}, {1, 4, 5}, {1, 5, 2}};
inline constexpr FACE_NODE_ROW pyramid13_faces_in[5] = {{2, 3, 4, 5, 6, 7, 8, 9},
                                                        {1, 3, 2, 11, 6, 10},
                                                        {1, 4, 3, 12, 9, 11},
                                                        {1, 5, 4, 13, 7, 12},
                                                        {1, 2, 5, 10, 8, 13}};
inline constexpr FACE_NODE_ROW pyramid13_faces_out[5] = {{2, 5, 4, 3, 8, 9, 6, 7},
                                                         {1, 2, 3, 10, 6, 11},
                                                         {1, 3, 4, 11, 9, 12},
                                                         {1, 4, 5, 12, 7, 13},
                                                         {1, 5, 2, 13, 8, 10}};

inline constexpr FACE_EDGE_ROW hexa_e12_faces_in[6] = {{1, 2, 5, 8},   {6, 7, 4, 3},   {9, 10, 1, 4},
                                                       {10, 11, 8, 7}, {2, 3, 12, 11}, {5, 6, 9, 12}};
inline constexpr FACE_EDGE_ROW hexa_e12_faces_out[6] = {{5, 8, 1, 2},   {4, 3, 6, 7},   {1, 4, 9, 10},
                                                        {8, 7, 10, 11}, {12, 11, 2, 3}, {9, 12, 5, 6}};
inline constexpr FACE_EDGE_ROW hexa_e36_faces_in[6] = {
    {1, 2, 5, 6, 9, 13, 16, 17, 20, 24},  {14, 15, 18, 19, 22, 4, 3, 8, 7, 11},
    {25, 26, 29, 30, 33, 1, 4, 5, 8, 12}, {26, 27, 30, 31, 34, 16, 15, 20, 19, 23},
    {2, 3, 6, 7, 10, 28, 27, 32, 31, 35}, {13, 14, 17, 18, 21, 25, 28, 29, 32, 36}};
inline constexpr FACE_EDGE_ROW hexa_e36_faces_out[6] = {
    {13, 16, 17, 20, 24, 1, 2, 5, 6, 9},  {4, 3, 8, 7, 11, 14, 15, 18, 19, 22},
    {1, 4, 5, 8, 12, 25, 26, 29, 30, 33}, {16, 15, 20, 19, 23, 26, 27, 30, 31, 34},
    {28, 27, 32, 31, 35, 2, 3, 6, 7, 10}, {25, 28, 29, 32, 36, 13, 14, 17, 18, 21}};
inline constexpr FACE_EDGE_ROW hexa_e54_faces_in[6] = {
    {1, 2, 5, 6, 9, 13, 19, 22, 23, 26, 30, 34},  {20, 21, 24, 25, 28, 32, 4, 3, 8, 7, 11, 15},
    {37, 38, 41, 42, 45, 49, 1, 4, 5, 8, 12, 16}, {38, 39, 42, 43, 46, 50, 22, 21, 26, 25, 29, 33},
    {2, 3, 6, 7, 10, 14, 40, 39, 44, 43, 47, 51}, {19, 20, 23, 24, 27, 31, 37, 40, 41, 44, 48, 52}};
inline constexpr FACE_EDGE_ROW hexa_e54_faces_out[6] = {
    {19, 22, 23, 26, 30, 34, 1, 2, 5, 6, 9, 13},  {4, 3, 8, 7, 11, 15, 20, 21, 24, 25, 28, 32},
    {1, 4, 5, 8, 12, 16, 37, 38, 41, 42, 45, 49}, {22, 21, 26, 25, 29, 33, 38, 39, 42, 43, 46, 50},
    {40, 39, 44, 43, 47, 51, 2, 3, 6, 7, 10, 14}, {37, 40, 41, 44, 48, 52, 19, 20, 23, 24, 27, 31}};
inline constexpr FACE_EDGE_ROW prism_e9_faces_in[5] = {
    {1, 2, 3}, {-6, -5, -4}, {7, 8, 1, 4}, {8, 9, 2, 5}, {9, 7, 3, 6}};
inline constexpr FACE_EDGE_ROW prism_e9_faces_out[5] = {
    {-3, -2, -1}, {4, 5, 6}, {1, 4, 7, 8}, {2, 5, 8, 9}, {3, 6, 9, 7}};
inline constexpr FACE_EDGE_ROW tetra_e6_faces_in[4] = {{-6, -5, -4}, {2, 5, -3}, {3, 6, -1}, {1, 4, -2}};
inline constexpr FACE_EDGE_ROW tetra_e6_faces_out[4] = {{4, 5, 6}, {3, -5, -2}, {1, -6, -3}, {2, -4, -1}};
inline constexpr FACE_EDGE_ROW tetra_e18_faces_in[4] = {{-6, -5, -4, -18, -17, -16},
                                                        {2, 5, -3, -12, -11, -10},
                                                        {3, 6, -1, -15, -14, -13},
                                                        {1, 4, -2, -9, -8, -7}};
inline constexpr FACE_EDGE_ROW tetra_e18_faces_out[4] = {
    {4, 5, 6, 16, 17, 18}, {3, -5, -2, 10, 11, 12}, {1, -6, -3, 13, 14, 15}, {2, -4, -1, 7, 8, 9}};
// The three edges inside each face run against the surface type's edges in the inward
// orientation, as they do for TETRA_N10E18, hence their minus signs.
inline constexpr FACE_EDGE_ROW tetra_e24_faces_in[4] = {{12, 11, 10, 9, 8, 7, -24, -23, -22},
                                                        {3, 4, 9, 10, 6, 5, -18, -17, -16},
                                                        {5, 6, 11, 12, 2, 1, -21, -20, -19},
                                                        {1, 2, 7, 8, 4, 3, -15, -14, -13}};
inline constexpr FACE_EDGE_ROW tetra_e24_faces_out[4] = {{7, 8, 9, 10, 11, 12, 22, 23, 24},
                                                         {5, 6, 10, 9, 4, 3, 16, 17, 18},
                                                         {1, 2, 12, 11, 6, 5, 19, 20, 21},
                                                         {3, 4, 8, 7, 2, 1, 13, 14, 15}};
inline constexpr FACE_EDGE_ROW pyramid_e8_faces_in[5] = {
    {5, 6, 7, 8}, {2, -5, -1}, {3, -8, -2}, {4, 6, -3}, {1, 7, -4}};
inline constexpr FACE_EDGE_ROW pyramid_e8_faces_out[5] = {
    {7, 8, 5, 6}, {1, 5, -2}, {2, 8, -3}, {3, -6, -4}, {4, -7, -1}};

// Surface types of the faces, by id in the surface table.
inline constexpr int hexa_faces_e4[6] = {0, 0, 0, 0, 0, 0};
inline constexpr int hexa_faces_n8e4[6] = {1, 1, 1, 1, 1, 1};
inline constexpr int hexa_faces_e10[6] = {2, 2, 2, 2, 2, 2};
inline constexpr int hexa_faces_e12[6] = {3, 3, 3, 3, 3, 3};
inline constexpr int prism6_faces[5] = {4, 4, 0, 0, 0};
inline constexpr int prism15_faces[5] = {5, 5, 1, 1, 1};
inline constexpr int tetra4_faces[4] = {4, 4, 4, 4};
inline constexpr int tetra10_faces[4] = {5, 5, 5, 5};
inline constexpr int tetra_e18_faces[4] = {6, 6, 6, 6};
inline constexpr int tetra_e24_faces[4] = {7, 7, 7, 7};
inline constexpr int pyramid5_faces[5] = {0, 4, 4, 4, 4};
inline constexpr int pyramid13_faces[5] = {1, 5, 5, 5, 5};

// Native-file orders: the perimeter of the lower face with its mid nodes, the vertical mid
// nodes, then the upper face. The 27-node form appends its face and centre nodes.
inline constexpr int hexa20_file_order[20] = {1,  9,  2, 16, 3, 10, 4, 13, 17, 18,
                                              19, 20, 5, 12, 6, 15, 7, 11, 8,  14};
inline constexpr int hexa27_file_order[27] = {1, 9,  2, 16, 3, 10, 4,  13, 17, 18, 19, 20, 5, 12,
                                              6, 15, 7, 11, 8, 14, 21, 22, 23, 24, 25, 26, 27};
inline constexpr int prism15_file_order[15] = {1, 7, 2, 8, 3, 9, 13, 14, 15, 4, 10, 5, 11, 6, 12};
inline constexpr int tetra10_file_order[10] = {1, 5, 2, 8, 3, 6, 7, 10, 9, 4};
inline constexpr int pyramid5_file_order[5] = {2, 3, 4, 5, 1};
inline constexpr int pyramid6_file_order[6] = {1, 3, 2, 1, 4, 5};
inline constexpr int pyramid13_file_order[13] = {1, 11, 3, 6, 2, 10, 9, 8, 12, 4, 7, 5, 13};
inline constexpr int pyramid15_file_order[15] = {1, 11, 3, 6, 2, 10, 1, 9, 8, 1, 12, 4, 7, 5, 13};

// Orders of the foreign mesh and post formats. The 27-node hexahedron extends the 20-node
// rows by its seven further nodes; the 13-node pyramid uses its own numbering, and the
// collapsed-prism pyramids their native-file order, in all three.
inline constexpr int hexa8_order_3[8] = {5, 6, 7, 8, 1, 2, 3, 4};
inline constexpr int hexa20_order_1[20] = {1,  9,  2, 10, 3, 11, 4, 12, 13, 14,
                                           15, 16, 5, 17, 6, 18, 7, 19, 8,  20};
inline constexpr int hexa20_order_2[20] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  16,
                                           10, 13, 17, 18, 19, 20, 12, 15, 11, 14};
inline constexpr int hexa20_order_3[20] = {5,  6,  7, 8,  1,  2,  3,  4,  12, 15,
                                           11, 14, 9, 16, 10, 13, 17, 18, 19, 20};
inline constexpr int hexa27_order_1[27] = {1, 9,  2, 10, 3, 11, 4,  12, 13, 14, 15, 16, 5, 17,
                                           6, 18, 7, 19, 8, 20, 21, 22, 23, 24, 25, 26, 27};
inline constexpr int hexa27_order_2[27] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  16, 10, 13, 17, 18,
                                           19, 20, 12, 15, 11, 14, 21, 22, 23, 24, 25, 26, 27};
inline constexpr int hexa27_order_3[27] = {5,  6,  7,  8,  1,  2,  3,  4,  12, 15, 11, 14, 9, 16,
                                           10, 13, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27};
inline constexpr int prism6_order_2[6] = {1, 2, 3, 0, 4, 5};
inline constexpr int prism6_order_3[6] = {4, 5, 6, 1, 2, 3};
inline constexpr int prism15_order_1[15] = {1, 7, 2, 8, 3, 9, 10, 11, 12, 4, 13, 5, 14, 6, 15};
inline constexpr int prism15_order_2[15] = {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 13, 14, 15};
inline constexpr int prism15_order_3[15] = {4, 5, 6, 1, 2, 3, 10, 11, 12, 7, 8, 9, 13, 14, 15};
inline constexpr int tetra4_order_2[4] = {1, 2, 3, 0};
inline constexpr int tetra4_order_3[4] = {1, 2, 4, 3};
inline constexpr int tetra10_order_1[10] = {1, 5, 2, 6, 3, 7, 8, 9, 10, 4};
inline constexpr int tetra10_order_2[10] = {1, 2, 3, 0, 4, 0, 0, 0, 5, 8};
inline constexpr int tetra10_order_3[10] = {1, 2, 4, 3, 5, 7, 6, 10, 9, 8};
inline constexpr int pyramid5_order_3[5] = {4, 5, 1, 3, 2};

// Mid-node tables of the two first-order types that the mesher refines: the mid node of each
// edge (12 entries, the prism's three unused ones 0), then the 8 nodes of each face of the
// quadratic type (a triangle's last two 0).
inline constexpr short hexa8_mid_node_table[12 + 6 * 8] = {
    9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20,                 //
    1, 2,  3,  4,  9,  10, 13, 16, 5,  8,  7,  6,  14, 15, 12, 11, //
    1, 5,  6,  2,  17, 18, 9,  12, 2,  6,  7,  3,  18, 19, 16, 15, //
    4, 3,  7,  8,  10, 11, 20, 19, 1,  4,  8,  5,  13, 14, 17, 20};
inline constexpr short prism6_mid_node_table[12 + 5 * 8] = {
    7, 8, 9, 10, 11, 12, 13, 14, 15, 0, 0, 0,                 //
    1, 2, 3, 7,  8,  9,  0,  0,  4,  6, 5, 12, 11, 10, 0, 0,  //
    1, 4, 5, 2,  13, 14, 7,  10, 2,  5, 6, 3,  14, 15, 8, 11, //
    3, 6, 4, 1,  15, 13, 9,  12};

} // namespace tesmora::element_tables
