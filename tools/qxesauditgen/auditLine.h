// One generated record line as its nine fields, viewed, not owned: the views
// stay valid only during the sink call that receives them.
//   sink.writeRecord(AuditLine{"I", stamp, "UTC", offset, "0", "0", "QXES", "SRV", "h:8010"});
#pragma once

#include <string_view>

struct AuditLine {
    std::string_view type;
    std::string_view time_stamp;
    std::string_view time_zone;
    std::string_view difference_from_GMT;
    std::string_view session_id;
    std::string_view request_id;
    std::string_view component_id;
    std::string_view message_format;
    std::string_view message;
};
