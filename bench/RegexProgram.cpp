// Size peer of the service: a program that only uses std::wregex and std::wifstream.
#include <fstream>
#include <regex>
#include <string>

int main()
{
    std::wifstream file{"build.txt"};
    std::wstring line;
    std::getline(file, line);
    return std::regex_match(line, std::wregex{L"\\w{10,}#{1}\\w{4}#{1}\\w{4};?"}) ? 0 : 1;
}
