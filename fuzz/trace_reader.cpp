// Trace files: whatever the bytes, the reader either refuses them with a TraceError or returns
// a trace whose counts, files and answers hold what its header promised.
#include "FuzzHarness.h"
#include "vxtrace/Trace.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<uint8_t> bytes(data, data + size);
    try {
        const vxtrace::Trace trace = vxtrace::parseTrace(bytes.data(), bytes.size());
        VXFUZZ_CHECK(trace.entries.size() == trace.header.entries);
        for (const vxtrace::Entry& e : trace.entries) {
            VXFUZZ_CHECK(e.answer.size() <= e.capacity);
            VXFUZZ_CHECK(!(e.error && e.thrown));
        }
    } catch (const vxtrace::TraceError&) {
    }
    return 0;
}
