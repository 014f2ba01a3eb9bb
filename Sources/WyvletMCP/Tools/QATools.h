#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/CompanionMessage.h"

namespace wyvlet {

/// wyvlet_get_qa_checklist: every item with its outcome. Pure.
std::string qaChecklist(const CacheSnapshot& cache);

/// wyvlet_mark_qa: marks the item whose id begins with `id`; `status` is PASSED or FAILED in any case,
/// and nothing is sent for another word.
std::string markQA(const CacheSnapshot& cache, std::string_view id, std::string_view status,
                   const std::optional<std::string>& notes,
                   const std::function<void(CompanionMessageType, const MarkQACommand&)>& send);

}  // namespace wyvlet
