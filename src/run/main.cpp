// TesmoraBatch: the console front of the solver. One run is one job.
#include "run/driver.hpp"

int main(int argc, char **argv) { return tesmora::run_job(argc, argv); }
