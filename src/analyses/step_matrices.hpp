// The matrices a transient step or an AC solve makes from the system matrices of the matrix
// stage: the file "system_matrices" holds the profile, then h, then (AC 2 only) e, then c.
#pragma once

#include "job/ffile.hpp"

namespace tesmora {

// The two matrices of the theta method for C dx/dt + H x = f:
//     r = -(1 - theta) H + C / delta_t,   t = theta H + C / delta_t,
// so that t x_new = r x_old + theta f_new + (1 - theta) f_old. Each is made over its own array
// (the profile's size in values) by streaming H and then C from the file, so that H and C are
// never held whole beside them, and written with the profile to the r and t matrix files.
void make_r_t_matrices(FFILE *system_matrices, double theta, double delta_t, double *r, double *t);

// The complex matrix of an AC solve, values interleaved real then imaginary (twice the profile's
// size): real part H; imaginary part omega C, plus the imaginary reluctivity matrix E when
// ac_mode is 2 (the file then holds it between H and C).
void make_complex_matrix(FFILE *system_matrices, double omega, int ac_mode, double *a);

} // namespace tesmora
