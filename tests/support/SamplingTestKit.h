#pragma once

// Puts the process-wide sampling state (connection, session counters, watch list, configuration)
// back to its start, and ends whatever a test left running.
void resetSamplingState();
void endSampling();
