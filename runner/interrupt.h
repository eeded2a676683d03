// What an interrupt from the keyboard, or a request to end, does.
#pragma once

namespace zam::runner {

/// From now on an interrupt or a request to end removes the files that are being written aside, and ends the program
/// with the status 128 plus the number of the signal, at once: modules do not have to notice. Signals that were ignored
/// when the program began stay so.
void end_on_interrupt();

}  // namespace zam::runner
