// Operations of every element family, one family per source file in this folder; the
// catalogue's tables point at them. Signatures are those of the catalogue's slot types.
#pragma once

namespace tesmora::element_functions {

// Volume shape functions and their reference derivatives.
void hexa8_shape(double xi, double eta, double zeta, double *out);
void hexa8_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void hexa20_shape(double xi, double eta, double zeta, double *out);
void hexa20_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void hexa27_shape(double xi, double eta, double zeta, double *out);
void hexa27_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void prism6_shape(double xi, double eta, double zeta, double *out);
void prism6_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void prism15_shape(double xi, double eta, double zeta, double *out);
void prism15_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void tetra4_shape(double xi, double eta, double zeta, double *out);
void tetra4_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void tetra10_shape(double xi, double eta, double zeta, double *out);
void tetra10_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void pyramid5_shape(double xi, double eta, double zeta, double *out);
void pyramid5_derivatives(double xi, double eta, double zeta, double (*out)[3]);
void pyramid13_shape(double xi, double eta, double zeta, double *out);
void pyramid13_derivatives(double xi, double eta, double zeta, double (*out)[3]);

// Volume edge functions (real-space values) and their curls.
void hexa_e12_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void hexa_e12_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void hexa_e36_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void hexa_e36_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void hexa_e54_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void hexa_e54_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void prism_e9_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void prism_e9_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void tetra_e6_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void tetra_e6_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void tetra_e18_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void tetra_e18_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void tetra_e24_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void tetra_e24_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void pyramid_e8_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
void pyramid_e8_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);

// Edge coefficients of the regularization and source code; none for tetrahedra and pyramids.
double hexa_edge_coefficients(int from, int to, double *out);
double prism_edge_coefficients(int from, int to, double *out);
double no_edge_coefficients(int from, int to, double *out);

// Reference point of face f at face coordinates (u, v).
void hexa_face_point(int face, double u, double v, double *out);
void prism_face_point(int face, double u, double v, double *out);
void tetra_face_point(int face, double u, double v, double *out);
void pyramid_face_point(int face, double u, double v, double *out);

// Surface shape functions, derivatives, edge functions and curls.
void quad4_shape(double a, double b, double *out);
void quad4_derivatives(double a, double b, double (*out)[2]);
void quad8_shape(double a, double b, double *out);
void quad8_derivatives(double a, double b, double (*out)[2]);
void quad9_shape(double a, double b, double *out);
void quad9_derivatives(double a, double b, double (*out)[2]);
void triangle3_shape(double a, double b, double *out);
void triangle3_derivatives(double a, double b, double (*out)[2]);
void triangle6_shape(double a, double b, double *out);
void triangle6_derivatives(double a, double b, double (*out)[2]);
void quad_e4_edge_function(double a, double b, double (*out)[2]);
void quad_e4_edge_curl(double a, double b, double *out);
void quad_e10_edge_function(double a, double b, double (*out)[2]);
void quad_e10_edge_curl(double a, double b, double *out);
void quad_e12_edge_function(double a, double b, double (*out)[2]);
void quad_e12_edge_curl(double a, double b, double *out);
void triangle_e3_edge_function(double a, double b, double (*out)[2]);
void triangle_e3_edge_curl(double a, double b, double *out);
void triangle_e6_edge_function(double a, double b, double (*out)[2]);
void triangle_e6_edge_curl(double a, double b, double *out);
void triangle_e9_edge_function(double a, double b, double (*out)[2]);
void triangle_e9_edge_curl(double a, double b, double *out);
void rotate_quad_point(int rotation, double a, double b, double *out);
void rotate_triangle_point(int rotation, double a, double b, double *out);

} // namespace tesmora::element_functions
