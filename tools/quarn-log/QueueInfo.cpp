#include "QueueInfo.h"

#include "JsonText.h"

#include <algorithm>

namespace Quarn::Logging::Tool {

namespace {

Json FieldsOf(const SQueueInfo& info)
{
    const SLogQueueHeader& header = info.queue.Header();
    const unsigned int whole = info.queue.WholeRecords();
    return {{"queue", info.offset},
            {"bytes_in_image", info.available},
            {"start_time", header.m_StartTime},
            {"start_time_iso", IsoOrNull(header.m_StartTime)},
            {"whole_records", whole},
            {"undelivered", header.m_Count},
            {"delivered", whole - std::min(whole, header.m_Count)},
            {"readable_records", info.queue.Chain().size()},
            {"hidden_records", info.queue.Hidden()},
            {"dropped", header.m_Dropped},
            {"next_sequence", header.m_Sequence},
            {"write_position", header.m_WritePos},
            {"read_position", header.m_ReadPos},
            {"end_position", header.m_EndPos},
            {"capacity", header.m_Capacity}};
}

} // namespace

std::string TextOf(const SQueueInfo& info)
{
    std::string text;
    const Json fields = FieldsOf(info);
    for (const auto& [key, value] : fields.items()) {
        std::string name = key;
        std::replace(name.begin(), name.end(), '_', ' ');
        name.resize(18, ' ');
        text += name + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
    return text;
}

std::string JsonOf(const SQueueInfo& info) { return ToText(FieldsOf(info)); }

} // namespace Quarn::Logging::Tool
