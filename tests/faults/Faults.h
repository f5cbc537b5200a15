// The interposed functions.
#pragma once

namespace Faults
{

// Puts the faults in front of whatever the import slots hold, for a scope.
class Interposition
{
  public:
    Interposition();
    ~Interposition();
    Interposition(const Interposition&) = delete;
    Interposition& operator=(const Interposition&) = delete;
};

} // namespace Faults
