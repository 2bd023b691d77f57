// Reads the program's arguments into the run options and checks them. Every
// refusal shows its numbered message and returns false.
//   AFPOptions options;
//   if (!ProcessCommandLine(argc, argv, &options)) { /* messages already shown */ }
#pragma once

#include <string>

#include "afpOptions.h"

// What a command line asks for instead of a run: "--help" or "-h" (the
// usage), "--version", in any case and anywhere on the line.
enum class InformationRequest { kNone, kHelp, kVersion };
InformationRequest RequestedInformation(int argc, char** argv);

// True when the line holds "-exitstatus detailed", read before the line is
// checked so that even a refused command line can end with its own status.
bool DetailedExitStatusRequested(int argc, char** argv);

// Replaces *options with the checked settings of the command line; false (after
// its messages) when the command line is refused.
bool ProcessCommandLine(int argc, char** argv, AFPOptions* options);

// Overwrites, in the process's own argument memory, the value of -dbpass and
// the passwords inside the value of -dbconnect with "x", so that the process
// list shows them only in the moments before the call.
void HidePasswordArguments(int argc, char** argv);

// The value that follows an option: argv[index] when it exists and does not
// begin with "-"; otherwise message 43 names the option argv[index - 1].
bool GetArgumentValue(char** argv, int argc, int index, std::string& value);

// A lower-case copy of a text (ASCII letters only).
std::string stringToLower(const std::string& text);
