#pragma once

namespace mirvo_cli {

// Raw frames come and go at tens of megabytes each; keeps that memory in the
// heap instead of mapping and faulting it in afresh for every frame. Also
// for hosts that start with a small trim threshold (Dask's workers set
// MALLOC_TRIM_THRESHOLD_), which would otherwise cost several times the
// frame. Process-wide; calling it again does nothing.
void KeepFrameMemory();

}  // namespace mirvo_cli
