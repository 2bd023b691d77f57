#include "parser.h"

const std::string Parser::kStatusSuccess = "1";
const std::string Parser::kStatusFail = "0";
const std::string Parser::kTypeWeb = "0";
const std::string Parser::kTypeRemote = "1";
const std::string Parser::kTypeAdmin = "2";
const std::string Parser::kActionAdmin = "Admin";
const std::string Parser::kActionTarvel = "Publish";
