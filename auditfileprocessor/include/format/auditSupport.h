// The audit line format: the header that opens every audit file, the
// positions of the fields of a record line, and the three code tables (record
// type, component, message format) with their look-ups in both directions.
// Handlers compare line fields with these texts, never with literals.
//   if (line[AuditSupport::msg_format] == AuditSupport::GetFormat(AuditSupport::kSRV)) ...
//   AuditSupport::FormatCode code = AuditSupport::GetFormatCode("REQINFO");  // kREQINFO
#pragma once

#include <cstdint>
#include <string>

namespace AuditSupport {

// The first line of every audit file: nine column titles, each followed by
// two tabs, then a newline (106 characters).
extern const char kAuditFileHeader[];
// What the writer puts after every field.
extern const char kFieldSeparator[];

// Positions of the fields in a split record line; the message may run on
// over further positions.
enum LinePosition {
    type = 0,
    time_stamp = 1,
    time_zone = 2,
    difference_from_GMT = 3,
    session_id = 4,
    request_id = 5,
    component_id = 6,
    msg_format = 7,
    message = 8,
};

// Record type; kTypeUnknown has the empty text.
enum TypeCode : int32_t { kI = 0, kE, kU, kV, kG, kTypeUnknown };

// Component that wrote the record; kComponentUnknown has the empty text.
enum ComponentCode : int32_t { kQXES = 0, kQXRQ, kQXDS, kQXPB, kComponentUnknown };

// Message format. The table holds rows for 0 to 24 and, at index 25, the row
// of kFormatUnknown (26) with the empty text: there is no row 26.
enum FormatCode : int32_t {
    k1 = 0,
    kSRV,
    kFGN,
    kREMOTE,
    kREQFAILE,
    kRESFAILE,
    kREQINFO,
    kREDISPATCH,
    kSUCC,
    kUSR,
    kUC,
    kQXUH,
    kQXUD,
    kQXUC,
    kQXUI,
    kGET,
    kREM,
    kSET,
    kADD,
    kLOGIN,
    kCOPY,
    kMOVE,
    kTRVR,
    kTRVE,
    kTRVS,
    kFormatUnknown = 26,
};

// One row of a code table: a value and its text.
struct TypeRec {
    TypeCode code;
    const char* text;
};
struct ComponentRec {
    ComponentCode code;
    const char* text;
};
struct FormatRec {
    FormatCode code;
    const char* text;
};

// The row at the index equal to the value. A value beyond the table (for
// formats, kFormatUnknown itself) gives the table's last row, the one that
// holds the unknown value and the empty text.
const TypeRec& GetTypeRec(TypeCode const& code);
const ComponentRec& GetComponentRec(ComponentCode const& code);
const FormatRec& GetFormatRec(FormatCode const& code);

// The text of that row.
const char* GetType(TypeCode const& code);
const char* GetComponent(ComponentCode const& code);
const char* GetFormat(FormatCode const& code);

// Text to value by exact comparison; unmatched texts give the unknown value.
// The empty text gives kTypeUnknown and kComponentUnknown, but the format 25,
// because the empty format row is searched while the other empty rows are not.
TypeCode GetTypeCode(std::string const& text);
ComponentCode GetComponentCode(std::string const& text);
FormatCode GetFormatCode(std::string const& text);

// Advance by one; the unknown value wraps to 0. Return the changed variable.
TypeCode& operator++(TypeCode& code, int);
ComponentCode& operator++(ComponentCode& code, int);
FormatCode& operator++(FormatCode& code, int);

}  // namespace AuditSupport
