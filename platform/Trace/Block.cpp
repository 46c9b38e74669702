#include "Trace/Block.h"

#include "Trace/Clock.h"
#include "Trace/RecordBuffer.h"
#include "Trace/Ring.h"

namespace Trace {

Block::Block(Site& site, const Handle& handle)
    : site_(site.number(handle, {})), beganNs_(wallClockNs()), beganSteadyNs_(steadyClockNs()) {
    RecordBuffer record;
    Ring::current().write(RecordType::blockBegin, site_, beganNs_, record);
}

Block::~Block() {
    const std::int64_t durationNs = steadyClockNs() - beganSteadyNs_;
    RecordBuffer record;
    record.addNumber(static_cast<std::uint64_t>(durationNs));
    Ring::current().write(RecordType::blockEnd, site_, beganNs_ + durationNs, record);
}

}  // namespace Trace
