// What is wrong with a data file, or with what is asked of it.
#pragma once

#include <stdexcept>

namespace zam::session {

class DataError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace zam::session
