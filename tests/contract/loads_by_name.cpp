// Loads the library of the name given, as Windows finds it.
#include <windows.h>

int main(int count, char** words) {
    return count == 2 && LoadLibraryA(words[1]) != nullptr ? 0 : 1;
}
