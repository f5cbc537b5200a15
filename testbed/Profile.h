// The machine profile: one readable text file that says what this PC is like (sessions, services, device nodes,
// framework, firmware data). Every stand-in of the testbed asks it at each call, so a test may change the file while
// the service runs.
//
// C:\testbed\profile.ini is the profile in force; "base = <name>" on top of a profile inherits from
// C:\testbed\profiles\<name>.ini. A section adds to the section of the same name in the base and replaces single
// keys there; "inherit = no" in a section starts it empty. Names compare without case. A value in double quotes
// keeps its outer blanks. Lines that begin with "#" or ";" are comments.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Testbed
{

using ProfileEntry = std::pair<std::wstring, std::wstring>;

struct ProfileSection
{
    std::wstring name;
    std::vector<ProfileEntry> entries;
};

// The value of a key in the profile in force, the fallback when the key is not there. Any thread, any process.
std::wstring ProfileValue(std::wstring_view section, std::wstring_view key, std::wstring_view fallback);

// Names of all sections in file order, those of the base first.
std::vector<std::wstring> ProfileSections();

// Keys and values of a section in file order, those of the base first; empty for an unknown section.
std::vector<ProfileEntry> ProfileEntries(std::wstring_view section);

// What the functions above are made of: one profile's UTF-8 text, and one section list laid over another.
struct ParsedProfile
{
    std::wstring base;
    std::vector<ProfileSection> sections;
};
ParsedProfile ParseProfile(std::string_view text);
std::vector<ProfileSection> OverlayProfile(std::vector<ProfileSection> base, const std::vector<ProfileSection>& over);

// Decimal or 0x-prefixed; the fallback when the key is missing or not a number.
unsigned long ProfileNumber(std::wstring_view section, std::wstring_view key, unsigned long fallback);

} // namespace Testbed
