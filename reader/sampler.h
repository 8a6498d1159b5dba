/* Takes samples of the attached cache and puts them into the form of the stream. For one thread. */
#ifndef SAMPLER_H
#define SAMPLER_H

#include "processwatch.h"
#include "streamencoder.h"

#include <cstdint>
#include <memory>

namespace reader {

class Sampler {
public:
    /* `kinds`: which processes are sent, a mask within SHRPC_ALL. `hasUsers`: with their users.
     * `isOnce`: one sample is taken, so that it isn't worth while to prepare for others. */
    Sampler(uint32_t kinds, bool hasUsers, bool isOnce);

    /* Replaces what the encoder holds by a sample of the present, which was due `lateNs` ago. The
     * library's status; on any other than TVSI_SUCCESS there is no sample. Buffers grow with the
     * process table and are kept. */
    int take(samples::StreamEncoder& encoder, uint64_t sequence, int64_t lateNs);

private:
    int query(uint32_t kinds, int& count);
    int fill(samples::Sample& sample, int& count);
    void reserve(int slots);

    uint32_t mask;
    std::unique_ptr<TvsiResultSType[]> records;
    int capacity = 0;
    ProcessWatch processes;
};

} // namespace reader

#endif
