#ifndef VNCAM_INTERRUPT_H
#define VNCAM_INTERRUPT_H

namespace vncam {

/**
 * Makes SIGINT and SIGTERM ask for a clean stop; a second one ends the process at once. Writing to a closed
 * pipe fails from then on instead of killing the process.
 */
void installStopSignals();

/** Whether somebody has asked for a stop. */
bool stopRequested();

}  // namespace vncam

#endif
