// The Windows functions that are points of a schedule.
#pragma once

namespace Threads
{

// Puts a point before every function that the product imports from Windows, in front of whatever the import slots hold,
// for a scope.
class Points
{
  public:
    Points();
    ~Points();
    Points(const Points&) = delete;
    Points& operator=(const Points&) = delete;
};

} // namespace Threads
