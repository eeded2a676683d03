// Brackets around host calls, begun in the constructor and ended in the destructor.
#pragma once

#include "contract/om.h"

namespace zam {

/// Writes that the host propagates as one change.
class WriteBatch {
public:
    WriteBatch() { OMbegin_op(); }
    ~WriteBatch() { OMend_op(); }
    WriteBatch(const WriteBatch&) = delete;
    WriteBatch& operator=(const WriteBatch&) = delete;
};

/// Host calls made on behalf of `object`.
class Context {
public:
    explicit Context(OMobj_id object) { OMpush_ctx(object); }
    ~Context() { OMpop_ctx(); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
};

}  // namespace zam
