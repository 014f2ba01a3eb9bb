#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/Result.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// Reads a record from JSON text. Strict JSON, nesting up to 512; identifiers in either case; an
/// integral number such as 200.0 is an integer, 200.5 is not; null is absence for an optional field
/// and a failure for a required one; unknown keys are ignored. The reason of a failure is one line
/// that names the record, the field and what was wrong, whatever the input holds. Never throws.
/// Any thread. Defined for every record of this library, and for a vector of TransferableQAResult,
/// which is the one list that travels by itself.
template <class Record>
Result<Record> decodeRecord(std::string_view json, DateEpoch epoch = DateEpoch::Unix1970);

/// Writes a record as compact JSON with its keys in table order, absent optionals left out. Text
/// that is not UTF-8 is written with U+FFFD in place of the bad bytes. Any thread.
template <class Record>
std::string encodeRecord(const Record& record, DateEpoch epoch = DateEpoch::Unix1970);

/// The deepest nesting that is read; deeper input counts as unparsable.
inline constexpr int kMaxJSONDepth = 512;

}  // namespace wyvlet
