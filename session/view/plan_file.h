// Which network shows a file, whatever kind of data it holds.
#pragma once

#include <memory>
#include <string>

#include "session/view/file_readers.h"
#include "session/view/view.h"
#include "session/view/view_source.h"

namespace zam::session {

/// What the network for a file is made with.
struct Makers {
    const Definitions& definitions;
    const ModuleLibrary& library;
    Listener& listener;
};

/// The network for a file.
/// @param reader     the module that reads it; null: it is a capture or a data file
/// @param directory  from which it names files
/// @throws ViewError
ViewPlan plan_file(const FileStart& file, const ModuleFile* reader, const std::string& directory,
                   const ViewOptions& options, const Makers& makers);

/// The field that a module reads of a file.
/// @throws ViewError
std::unique_ptr<ViewSource> open_module_file(const FileStart& file, const ModuleFile& reader, const Makers& makers);

/// What is wrong with the options' values; empty: nothing.
std::string fault_of(const ViewOptions& options);

}  // namespace zam::session
