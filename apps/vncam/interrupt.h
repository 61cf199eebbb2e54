#ifndef VNCAM_INTERRUPT_H
#define VNCAM_INTERRUPT_H

namespace vncam {

/**
 * Makes SIGINT, SIGTERM and SIGHUP ask for a clean stop; a second SIGINT or SIGTERM ends the process at once.
 * A SIGHUP that is ignored stays so. Writing to a closed pipe fails from then on instead of killing the
 * process.
 */
void installStopSignals();

/** Whether a stop signal was received. */
bool stopRequested();

}  // namespace vncam

#endif
