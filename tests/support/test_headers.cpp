/** A program that is there for its headers alone: those of the tests, compiled as the tests are. */
int main() {}
