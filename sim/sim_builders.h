#ifndef ZUL_SIM_SIM_BUILDERS_H
#define ZUL_SIM_SIM_BUILDERS_H

// Makers of single wire records for the data set, the bulk streams and the answers
// about unknown accounts.

#include <cstdint>
#include <string>

#include "sim_fields.h"
#include "zul_sim.h"

namespace zulsim {

// Responses that come as streams closed by a last-record flag.
bool is_stream(uint16_t response_id);
// Streams that close only on a flag of exactly 1, so that 2 is data.
bool closes_on_one_only(uint16_t response_id);

// A zeroed record with its id and size in the header.
Bytes blank_record(const RecordInfo& info);
// Writes the fields that name the requester: user id, account (where the record has
// them; an empty account leaves the field alone), last-record flag, sequence number.
void stamp_record(const RecordInfo& info, Bytes& record, uint32_t user_id,
                  const std::string& account, uint8_t flag, uint32_t sequence);

struct RecordSeed {
    unsigned seed;     // makes every value of the record its own
    bool full_texts;   // texts fill their fields, with no terminator
    size_t index;      // position in the stream
};

// A data record of response `id` in the generation's form, every field with a value
// of its own derived from the seed.
Bytes build_data_record(uint16_t id, bool hv27, uint32_t user_id, const std::string& account,
                        const RecordSeed& seed, uint8_t flag);
Bytes build_closing_record(uint16_t id, bool hv27, uint32_t user_id,
                           const std::string& account, uint8_t flag, uint32_t sequence);

}  // namespace zulsim

#endif
