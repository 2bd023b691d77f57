#include "splitPath.h"

void SplitPath(const std::string& path, std::string* drive, std::string* directory,
               std::string* fileName, std::string* extension) {
    const size_t lastSlash = path.rfind('/');
    const size_t nameStart = lastSlash == std::string::npos ? 0 : lastSlash + 1;
    const std::string name = path.substr(nameStart);
    const size_t dot = name.rfind('.');
    if (drive != nullptr) {
        drive->clear();
    }
    if (directory != nullptr) {
        *directory = path.substr(0, nameStart);
    }
    if (fileName != nullptr) {
        *fileName = dot == std::string::npos ? name : name.substr(0, dot);
    }
    if (extension != nullptr) {
        *extension = dot == std::string::npos ? std::string() : name.substr(dot);
    }
}
