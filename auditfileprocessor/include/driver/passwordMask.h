// Finds the passwords written inside a connection text, so that they can be
// masked wherever the text is shown or kept: the value of the "password"
// keyword of the keyword/value form ("host=h password=secret", quoted or
// not), and in a URI ("postgresql://user:secret@h/db?password=secret") the
// password of the user information and of the "password" parameter. A "%s"
// placeholder (filled with -dbpass at connect time) is no password.
//   PasswordMask::Masked("host=h password='a b'")  // "host=h password=********"
#pragma once

#include <string>
#include <utility>
#include <vector>

class PasswordMask {
  public:
    static constexpr char kMask[] = "********";

    // Where the passwords are: the offset and the length of each, in order.
    using Spans = std::vector<std::pair<size_t, size_t>>;
    static Spans Find(const std::string& connectText);
    // The text with each password replaced by kMask.
    static std::string Masked(const std::string& connectText);
};
