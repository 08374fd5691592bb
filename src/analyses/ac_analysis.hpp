// The AC analysis: one complex phasor system at the job's frequency, (H + j omega C) x = b, its
// values stored as (real, imaginary) pairs on the pattern of the real system.
#pragma once

namespace tesmora {

struct MESHED_MODEL;

// The stage body of an AC job: sources as phasors, the complex matrix from the system matrices,
// one solve, and one record (step 0, time 0, the real and imaginary parts of every unknown) in
// the solutions file.
void ac_analysis(MESHED_MODEL &first_part, int no_unknowns, int no_nonzeros);

// rhs (2 no_unknowns, pairs) = the sum over the sources of P (h + j omega c): each source's
// phasor P times its load column h and its conductor column c.
void load_vector_complex(double *rhs, int no_unknowns, double omega);

} // namespace tesmora
