// A library to look names up in. The program that uses it has a lookUpSharedName of its own.

extern "C" {
int lookUpLibraryName();
int lookUpSharedName();

int lookUpLibraryName() {
    return 42;
}

int lookUpSharedName() {
    return 43;
}
}
