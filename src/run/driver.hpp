// The TesmoraBatch process: option scan, signal handlers, files, the four stages, the end.
#pragma once

namespace tesmora {

// Runs one job with the process's command line and returns its exit status (0); faults leave
// through stop_job instead.
int run_job(int argc, const char *const *argv);

// The parts of run_job. start_job scans the options, installs the signal handlers, opens the
// stderr file and the run files; it returns false when the job is over already ("-v").
// run_stages_and_finish runs the four stages with their stage lines and ends the job.
bool start_job(int argc, const char *const *argv);
void run_stages_and_finish();

// One handler for SIGTERM, SIGINT, SIGSEGV, SIGABRT and SIGFPE: prints "TERMINATED NO=%d"
// and ends the job with status -1.
void install_signal_handlers();

// Memory report, CPU table, start and end times, END line of the run log, files closed.
void finish_job();

} // namespace tesmora
