// One thing a request used, as decoded from a usage blob: its code, its name
// and its count, each as the text the server wrote.
//   CodeNameValueTuple dim{"D1", "Dim1", "5"};
#pragma once

#include <string>

struct CodeNameValueTuple {
    std::string code;
    std::string name;
    // The count, still as text: it is written into a numeric column as a literal.
    std::string value;
};
