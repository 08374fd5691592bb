// The TesmoraBatch process: option scan, signal handlers, files, the four stages, the end.
#pragma once

namespace tesmora {

// Runs one job with the process's command line and returns its exit status (0); faults leave
// through stop_job instead.
int run_job(int argc, const char *const *argv);

// One handler for SIGTERM, SIGINT, SIGSEGV, SIGABRT and SIGFPE: prints "TERMINATED NO=%d"
// and ends the job with status -1.
void install_signal_handlers();

// Memory report, CPU table, start and end times, END line of the run log, files closed.
void finish_job();

} // namespace tesmora
