// Reference data of the surface families: node coordinates, edges, rotations and node orders.
// Local numbers are 1-based; row i of a table describes local number i + 1.
#pragma once

#include "mesh/element_catalogue.hpp"

namespace tesmora::element_tables {

// Quadrilaterals: corners, mid nodes of 1-2, 4-3, 1-4, 2-3, then the centre.
inline constexpr POINT_2D quad9_nodes[9] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}, {0, -1},
                                            {0, 1},   {-1, 0}, {1, 0}, {0, 0}};
// Triangles: corners, then the mid nodes of 1-2, 2-3, 3-1.
inline constexpr POINT_2D triangle6_nodes[6] = {{0, 0}, {1, 0}, {0, 1}, {.5, 0}, {.5, .5}, {0, .5}};

inline constexpr EDGE_ENDS quad_e4_edges[4] = {{1, 2}, {4, 3}, {1, 4}, {2, 3}};
inline constexpr EDGE_ENDS quad_e10_edges[10] = {{1, 5}, {4, 6}, {5, 2}, {6, 3}, {7, 8},
                                                 {1, 7}, {2, 8}, {7, 4}, {8, 3}, {5, 6}};
inline constexpr EDGE_ENDS quad_e12_edges[12] = {{1, 5}, {4, 6}, {5, 2}, {6, 3}, {7, 9}, {9, 8},
                                                 {1, 7}, {2, 8}, {7, 4}, {8, 3}, {5, 9}, {9, 6}};
inline constexpr EDGE_ENDS triangle_e3_edges[3] = {{1, 2}, {2, 3}, {3, 1}};
inline constexpr EDGE_ENDS triangle_e6_edges[6] = {{1, 2}, {2, 3}, {3, 1}, {6, 5}, {4, 6}, {5, 4}};
inline constexpr EDGE_ENDS triangle_e9_edges[9] = {{1, 4}, {2, 4}, {2, 5}, {3, 5}, {3, 6},
                                                   {1, 6}, {6, 5}, {4, 6}, {5, 4}};

inline constexpr FACE_NODE_ROW quad4_rotated_nodes[4] = {
    {1, 4, 3, 2}, {2, 1, 4, 3}, {3, 2, 1, 4}, {4, 3, 2, 1}};
inline constexpr FACE_NODE_ROW quad8_rotated_nodes[4] = {
    {1, 4, 3, 2, 7, 8, 5, 6}, {2, 1, 4, 3, 5, 6, 8, 7}, {3, 2, 1, 4, 8, 7, 6, 5}, {4, 3, 2, 1, 6, 5, 7, 8}};
inline constexpr FACE_NODE_ROW quad9_rotated_nodes[4] = {{1, 4, 3, 2, 7, 8, 5, 6, 9},
                                                         {2, 1, 4, 3, 5, 6, 8, 7, 9},
                                                         {3, 2, 1, 4, 8, 7, 6, 5, 9},
                                                         {4, 3, 2, 1, 6, 5, 7, 8, 9}};
inline constexpr FACE_NODE_ROW triangle3_rotated_nodes[3] = {{1, 3, 2}, {2, 1, 3}, {3, 2, 1}};
inline constexpr FACE_NODE_ROW triangle6_rotated_nodes[3] = {
    {1, 3, 2, 6, 5, 4}, {2, 1, 3, 4, 6, 5}, {3, 2, 1, 5, 4, 6}};
inline constexpr FACE_NODE_ROW triangle6e9_rotated_nodes[3] = {
    {1, 3, 2, 6, 5, 4, 7, 8, 9}, {2, 1, 3, 4, 6, 5, 8, 9, 7}, {3, 2, 1, 5, 4, 6, 9, 7, 8}};

inline constexpr FACE_EDGE_ROW quad_e4_rotated_edges[4] = {
    {3, 4, 1, 2}, {1, 2, 4, 3}, {4, 3, 2, 1}, {2, 1, 3, 4}};
inline constexpr FACE_EDGE_ROW quad_e10_rotated_edges[4] = {{6, 7, 8, 9, 10, 1, 2, 3, 4, 5},
                                                            {3, 4, 1, 2, 5, 7, 6, 9, 8, 10},
                                                            {9, 8, 7, 6, 10, 4, 3, 2, 1, 5},
                                                            {2, 1, 4, 3, 5, 8, 9, 6, 7, 10}};
inline constexpr FACE_EDGE_ROW quad_e12_rotated_edges[4] = {{7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6},
                                                            {3, 4, 1, 2, 5, 6, 8, 7, 10, 9, 12, 11},
                                                            {10, 9, 8, 7, 12, 11, 4, 3, 2, 1, 6, 5},
                                                            {2, 1, 4, 3, 6, 5, 9, 10, 7, 8, 11, 12}};
inline constexpr FACE_EDGE_ROW triangle_e3_rotated_edges[3] = {{3, 2, 1}, {1, 3, 2}, {2, 1, 3}};
inline constexpr FACE_EDGE_ROW triangle_e6_rotated_edges[3] = {
    {3, 2, 1, 5, 4, 6}, {1, 3, 2, 6, 5, 4}, {2, 1, 3, 4, 6, 5}};
inline constexpr FACE_EDGE_ROW triangle_e9_rotated_edges[3] = {
    {3, 2, 1, 5, 4, 6, 8, 9, 7}, {1, 3, 2, 6, 5, 4, 7, 8, 9}, {2, 1, 3, 4, 6, 5, 8, 9, 7}};

// Node orders. The native file lists the perimeter with its mid nodes; the 9-node form adds
// its centre last. The foreign orders of the surface types are chosen the same way:
// node_order_1 the perimeter order, node_order_2 corners first.
inline constexpr int identity_order[27] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14,
                                           15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27};
inline constexpr int quad8_file_order[8] = {1, 5, 2, 8, 3, 6, 4, 7};
inline constexpr int quad9_file_order[9] = {1, 5, 2, 8, 3, 6, 4, 7, 9};
inline constexpr int triangle6_file_order[6] = {1, 4, 2, 5, 3, 6};

inline constexpr short quad_mid_nodes[4] = {5, 6, 7, 8};
inline constexpr short triangle_mid_nodes[3] = {4, 5, 6};

} // namespace tesmora::element_tables
