#include "all_functions.h"

int main(int argc, char** argv) {
    return checkAllFunctions(argc, argv);
}
