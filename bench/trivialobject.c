/* The least that dlopen() can load. */
int trivialObject(void);

int trivialObject(void) {
    return 1;
}
