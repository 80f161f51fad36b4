/* The reference for the cost of a process: statically linked, does nothing. */
int main(void) { return 0; }
