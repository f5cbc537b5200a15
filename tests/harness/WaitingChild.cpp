// Waits to be ended by a test; ends by itself with 7 when the test has died.
#include <windows.h>

int main()
{
    Sleep(60000);
    return 7;
}
