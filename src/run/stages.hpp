// The four stages of a job, run by the driver in this order, each behind its stage switch.
#pragma once

namespace tesmora {

void pre_processing();       // mesh files to the model, element check and matrices, tree, tables
void make_system_matrices(); // numbering, profile, source columns, assembled matrices
void solve_equation();       // static, transient or AC analysis
void post_processing();      // results from the solutions file, reports and post files

} // namespace tesmora
