#include "auditSupport.h"

#include <cstddef>

namespace AuditSupport {

const char kAuditFileHeader[] =
    "Type\t\tTimeStamp\t\tTimeZone\t\tDifferenceFromGMT\t\tSessionId\t\tRequestId\t\t"
    "ComponentId\t\tMessageFormat\t\tMessage\t\t\n";
const char kFieldSeparator[] = "\t\t";

namespace {

const TypeRec kTypeTable[] = {
    {kI, "I"}, {kE, "E"}, {kU, "U"}, {kV, "V"}, {kG, "G"}, {kTypeUnknown, ""},
};

const ComponentRec kComponentTable[] = {
    {kQXES, "QXES"}, {kQXRQ, "QXRQ"}, {kQXDS, "QXDS"}, {kQXPB, "QXPB"}, {kComponentUnknown, ""},
};

const FormatRec kFormatTable[] = {
    {k1, "1"},
    {kSRV, "SRV"},
    {kFGN, "FGN"},
    {kREMOTE, "REMOTE"},
    {kREQFAILE, "REQFAILE"},
    {kRESFAILE, "RESFAILE"},
    {kREQINFO, "REQINFO"},
    {kREDISPATCH, "REDISPATCH"},
    {kSUCC, "SUCC"},
    {kUSR, "USR"},
    {kUC, "UC"},
    {kQXUH, "QXUH"},
    {kQXUD, "QXUD"},
    {kQXUC, "QXUC"},
    {kQXUI, "QXUI"},
    {kGET, "GET"},
    {kREM, "REM"},
    {kSET, "SET"},
    {kADD, "ADD"},
    {kLOGIN, "LOGIN"},
    {kCOPY, "COPY"},
    {kMOVE, "MOVE"},
    {kTRVR, "TRVR"},
    {kTRVE, "TRVE"},
    {kTRVS, "TRVS"},
    // Index 25 holds the unknown value 26 on purpose.
    {kFormatUnknown, ""},
};

// Last value searched when mapping a text to its value.
const int32_t kLastSearchedType = kG;
const int32_t kLastSearchedComponent = kQXPB;
const int32_t kLastSearchedFormat = 25;

template <typename Row, size_t N>
const Row& rowAt(const Row (&table)[N], int32_t value) {
    if (value < 0 || static_cast<size_t>(value) >= N) {
        return table[N - 1];
    }
    return table[value];
}

template <typename Code, typename Row, size_t N>
Code codeOf(const Row (&table)[N], const std::string& text, int32_t lastSearched, Code unknown) {
    for (int32_t value = 0; value <= lastSearched && static_cast<size_t>(value) < N; ++value) {
        if (text == table[value].text) {
            return static_cast<Code>(value);
        }
    }
    return unknown;
}

template <typename Code>
Code& advance(Code& code, int32_t last) {
    code = static_cast<Code>(code >= last || code < 0 ? 0 : code + 1);
    return code;
}

}  // namespace

const TypeRec& GetTypeRec(TypeCode const& code) {
    return rowAt(kTypeTable, code);
}

const ComponentRec& GetComponentRec(ComponentCode const& code) {
    return rowAt(kComponentTable, code);
}

const FormatRec& GetFormatRec(FormatCode const& code) {
    return rowAt(kFormatTable, code);
}

const char* GetType(TypeCode const& code) {
    return GetTypeRec(code).text;
}

const char* GetComponent(ComponentCode const& code) {
    return GetComponentRec(code).text;
}

const char* GetFormat(FormatCode const& code) {
    return GetFormatRec(code).text;
}

TypeCode GetTypeCode(std::string const& text) {
    return codeOf(kTypeTable, text, kLastSearchedType, kTypeUnknown);
}

ComponentCode GetComponentCode(std::string const& text) {
    return codeOf(kComponentTable, text, kLastSearchedComponent, kComponentUnknown);
}

FormatCode GetFormatCode(std::string const& text) {
    return codeOf(kFormatTable, text, kLastSearchedFormat, kFormatUnknown);
}

TypeCode& operator++(TypeCode& code, int) {
    return advance(code, kTypeUnknown);
}

ComponentCode& operator++(ComponentCode& code, int) {
    return advance(code, kComponentUnknown);
}

FormatCode& operator++(FormatCode& code, int) {
    return advance(code, kFormatUnknown);
}

}  // namespace AuditSupport
