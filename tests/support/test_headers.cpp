/** An empty program that provides the precompiled headers of the tests, compiled with their options. */
int main() {}
