// Owns the precompiled headers of the test programs; does nothing.
int main() {}
