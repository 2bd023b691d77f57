// The working state of text conversion: one cached converter per encoding name
// and the two scratch buffers (Unicode and output) that conversions reuse.
// One instance serves one thread, or all threads in the shared mode.
//   ChangeEncodingUtilsData* data = ChangeEncodingUtils::getDataInstance();
//   I18NConverter* latin1 = data->getI18NConverter("ISO-8859-1");
#pragma once

#include <map>
#include <memory>
#include <string>

#include "conversionBuffer.h"
#include "i18nConverter.h"

class ChangeEncodingUtilsData {
  public:
    // Buffers start at, and grow by, this many bytes.
    static constexpr unsigned kBufferStep = 1024;

    ChangeEncodingUtilsData() = default;
    ChangeEncodingUtilsData(const ChangeEncodingUtilsData&) = delete;
    ChangeEncodingUtilsData& operator=(const ChangeEncodingUtilsData&) = delete;

    // The converter for `encoding`, made on first request and kept; NULL when
    // it cannot be made.
    I18NConverter* getI18NConverter(const std::string& encoding);
    // Gives an empty buffer its first kBufferStep bytes; NULL when that fails.
    conversionBuffer* getBuffer(conversionBuffer* buffer);
    // getBuffer for the Unicode and the output buffer.
    void getBuffers(conversionBuffer** unicode, conversionBuffer** output);
    // Replaces the array by one kBufferStep bytes larger (contents are not
    // kept), or by as many steps as it takes to hold `minimumSize` bytes.
    // Throws error 1050 when the memory cannot be had.
    void increaseBuffer(conversionBuffer* buffer, size_t minimumSize = 0);

  private:
    std::map<std::string, std::unique_ptr<I18NConverter>> m_converters;
    conversionBuffer m_unicodeBuffer;
    conversionBuffer m_outputBuffer;
};
