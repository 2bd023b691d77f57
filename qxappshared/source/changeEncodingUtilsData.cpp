#include "changeEncodingUtilsData.h"

#include <climits>
#include <new>

#include "conversionError.h"

namespace {

// Characters that the target encoding cannot represent become "?".
void substituteQuestionMark(char* substitute, int* length) {
    substitute[0] = '?';
    *length = 1;
}

}  // namespace

I18NConverter* ChangeEncodingUtilsData::getI18NConverter(const std::string& encoding) {
    auto found = m_converters.find(encoding);
    if (found != m_converters.end()) {
        return found->second.get();
    }
    std::unique_ptr<I18NConverter> converter(new (std::nothrow)
                                                 I18NConverter(encoding, substituteQuestionMark));
    if (!converter || !converter->isOpen()) {
        return nullptr;
    }
    I18NConverter* result = converter.get();
    m_converters.emplace(encoding, std::move(converter));
    return result;
}

conversionBuffer* ChangeEncodingUtilsData::getBuffer(conversionBuffer* buffer) {
    if (buffer->size != 0) {
        return buffer;
    }
    buffer->data.reset(new (std::nothrow) char[kBufferStep]);
    if (!buffer->data) {
        buffer->size = 0;
        return nullptr;
    }
    buffer->size = kBufferStep;
    return buffer;
}

void ChangeEncodingUtilsData::getBuffers(conversionBuffer** unicode, conversionBuffer** output) {
    *unicode = getBuffer(&m_unicodeBuffer);
    *output = getBuffer(&m_outputBuffer);
}

void ChangeEncodingUtilsData::increaseBuffer(conversionBuffer* buffer, size_t minimumSize) {
    unsigned long long newSize = static_cast<unsigned long long>(buffer->size) + kBufferStep;
    if (minimumSize > newSize) {
        unsigned long long steps = (minimumSize - buffer->size + kBufferStep - 1) / kBufferStep;
        newSize = buffer->size + steps * kBufferStep;
    }
    buffer->data.reset();
    if (newSize <= UINT_MAX) {
        buffer->data.reset(new (std::nothrow) char[static_cast<size_t>(newSize)]);
    }
    if (!buffer->data) {
        buffer->size = 0;
        throwConversionError("ChangeEncodingUtilsData::increaseBuffer()", 129,
                             "ChangeEncodingUtilsData::increaseBuffer");
    }
    buffer->size = static_cast<unsigned>(newSize);
}
