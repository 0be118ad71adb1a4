#pragma once

namespace velmora::FacadeState {

// Drops the facade's presenter and banner controllers and restores its defaults, so that a
// test can start a whole host session again in the same process. Hosts never call it (it
// is not exported): the facade's objects live until the process ends. Main thread only.
void reset();

} // namespace velmora::FacadeState
