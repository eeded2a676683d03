// Frames of an animation as files of their own, beside it: NAME.webp.frames/00007.webp. They are put together when all
// of them are there, whoever wrote them.
#pragma once

#include <string>

#include "session/network/network.h"

namespace zam::session {

/// When a frame is shown, in milliseconds.
int shown_at(const ForEvent& event, int step);

/// Whether an output of an event of frames collects them in one file.
bool is_film(const Output& output);

/// A frame of an output, with a file of its own.
Output frame_of(const Output& output, int step);

/// Whether there is a directory of frames of an animation.
bool has_frame_files(const Output& output, const std::string& directory);

/// Whether an animation is there, and newer than what there is of its frames.
bool is_joined(const Output& output, const std::string& directory);

/// Which frames of an animation have no file: "3 of 120 frames are missing: 7, 30-31"; empty: none.
std::string missing_frames(const Output& output, const ForEvent& event, const std::string& directory);

/// Writes the animation of an output from the files of its frames.
/// @return what was written, as write_output() says it
/// @throws RunError  if frames are missing, too
std::string join_frames(const Output& output, const ForEvent& event, const std::string& directory);

/// Removes the files of the frames, and their directory if nothing else is in it.
void remove_frames(const Output& output, const std::string& directory);

}  // namespace zam::session
