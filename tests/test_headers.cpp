// Only what is compiled before it is wanted.
int main() {}
