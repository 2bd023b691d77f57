// Decodes the usage blob of one request (three parallel texts of codes, names
// and counts) into a usage array, and renders a usage array as XML.
//   std::vector<std::vector<CodeNameValueTuple>> usage;
//   qxdsUsageInfoHelper::buildUsageArray("D1,M;MC1", "Dim1,Measures;Meas1", "5,8;4", usage);
//   // usage[0] = {D1,Dim1,5}, {M,Measures,8}; usage[1] = {MC1,Meas1,4}
//
// Blob shape: records separated by kRS, fields by kFS; kEsc before a separator
// makes it data. Record 0 lists the dimensions and, last, the measures; record k
// (1..n) lists the levels used in dimension k; the last record lists the measures.
#pragma once

#include <string>
#include <vector>

#include "codeNameValueTuple.h"

class qxdsUsageInfoHelper {
  public:
    static constexpr const char* kRS = ";";
    static constexpr const char* kFS = ",";
    static constexpr const char* kEsc = "\\";

    // XML templates; "%0" is the place of the value.
    static constexpr const char* kParameterNodeBegin = "<parameters>";
    static constexpr const char* kParameterNodeEnd = "</parameters>";
    static constexpr const char* kBlobNodeBegin = "<blob>";
    static constexpr const char* kBlobNodeEnd = "</blob>";
    static constexpr const char* kDimUsageItemNodeBegin = "<item name='QXES_DIM_USAGE'>";
    static constexpr const char* kMeasureUsageItemNodeBegin = "<item name='QXES_MEASURE_USAGE'>";
    static constexpr const char* kItemNodeEnd = "</item>";
    static constexpr const char* kDimUsageNodeBegin = "<QXES_DIM_USAGE>";
    static constexpr const char* kDimUsageNodeEnd = "</QXES_DIM_USAGE>";
    static constexpr const char* kDimItemNodeBegin = "<QXES_DIM_ITEM>";
    static constexpr const char* kDimItemNodeEnd = "</QXES_DIM_ITEM>";
    static constexpr const char* kLevelUsageNodeBegin = "<QXES_LEVEL_USAGE>";
    static constexpr const char* kLevelUsageNodeEnd = "</QXES_LEVEL_USAGE>";
    static constexpr const char* kLevelItemNodeBegin = "<QXES_LEVEL_ITEM>";
    static constexpr const char* kLevelItemNodeEnd = "</QXES_LEVEL_ITEM>";
    static constexpr const char* kMeasureUsageNodeBegin = "<QXES_MEASURE_USAGE>";
    static constexpr const char* kMeasureUsageNodeEnd = "</QXES_MEASURE_USAGE>";
    static constexpr const char* kMeasureItemNodeBegin = "<QXES_MEASURE_ITEM>";
    static constexpr const char* kMeasureItemNodeEnd = "</QXES_MEASURE_ITEM>";
    static constexpr const char* kDimCode = "<QXES_DIM_CODE><![CDATA[%0]]></QXES_DIM_CODE>";
    static constexpr const char* kDimName = "<QXES_DIM_NAME><![CDATA[%0]]></QXES_DIM_NAME>";
    static constexpr const char* kDimCount = "<QXES_DIM_COUNT>%0</QXES_DIM_COUNT>";
    static constexpr const char* kLevelCode = "<QXES_LEVEL_CODE><![CDATA[%0]]></QXES_LEVEL_CODE>";
    static constexpr const char* kLevelName = "<QXES_LEVEL_NAME><![CDATA[%0]]></QXES_LEVEL_NAME>";
    static constexpr const char* kLevelCount = "<QXES_LEVEL_COUNT>%0</QXES_LEVEL_COUNT>";
    static constexpr const char* kMeasureCode =
        "<QXES_MEASURE_CODE><![CDATA[%0]]></QXES_MEASURE_CODE>";
    static constexpr const char* kMeasureName =
        "<QXES_MEASURE_NAME><![CDATA[%0]]></QXES_MEASURE_NAME>";
    static constexpr const char* kMeasureCount = "<QXES_MEASURE_COUNT>%0</QXES_MEASURE_COUNT>";

    // Decodes the three parallel texts into usageArray, which must be empty.
    // Throws KRLAssertError when a text is empty or the texts differ in their
    // number of records or of fields in a record.
    static void buildUsageArray(const std::string& code, const std::string& name,
                                const std::string& data,
                                std::vector<std::vector<CodeNameValueTuple>>& usageArray);

    // Appends to xml one <parameters> fragment holding the whole array:
    //   parameters > blob > item(QXES_DIM_USAGE) > QXES_DIM_USAGE > QXES_DIM_ITEM*,
    //     each with its code, name, count and a QXES_LEVEL_USAGE > QXES_LEVEL_ITEM*;
    //   parameters > blob > item(QXES_MEASURE_USAGE) > QXES_MEASURE_USAGE > QXES_MEASURE_ITEM*.
    // The array must not be empty (KRLAssertError).
    static void generateUsageArrayAsXMLFragment(
        const std::vector<std::vector<CodeNameValueTuple>>& usageArray, std::string& xml);
};
