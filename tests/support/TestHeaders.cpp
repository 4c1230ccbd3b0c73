// The program that the test programs' precompiled header belongs to; it has nothing to do.
int main() {}
