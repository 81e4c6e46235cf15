#ifndef ZUL_SIM_SIM_FIELDS_H
#define ZUL_SIM_SIM_FIELDS_H

// Field tables of the wire records, built from the record declarations. One table
// serves decoding requests for the log, filling the data set, and reading the data file.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zulsim {

enum class FieldKind { unsigned_int, signed_int, real, text };

// Which reading of query_symbol_resp's union stretches a field belongs to.
enum class Variant { always, not_option, option };

struct FieldInfo {
    std::string name;
    size_t offset;
    size_t width;
    FieldKind kind;
    Variant variant;
};

struct RecordInfo {
    std::string name;
    uint16_t id;
    size_t size;
    bool hv27;  // the form a server of generation hv27 sends
    std::vector<FieldInfo> fields;

    // By full name, or by the last part of a nested name ("m_43_limit_val").
    const FieldInfo* field(const std::string& name) const;
};

const RecordInfo* request_info(uint16_t id);
// The form of response `id` that the given generation sends.
const RecordInfo* response_info(uint16_t id, bool hv27);
const RecordInfo* record_info(const std::string& name);

bool is_reserved(const FieldInfo& f);
std::string read_field(const FieldInfo& f, const unsigned char* record);
// Numbers in decimal (or 0x hex), reals as the C library reads them, texts copied up
// to the field's width. False if the value doesn't parse.
bool write_field(const FieldInfo& f, unsigned char* record, const std::string& value);

}  // namespace zulsim

#endif
