// A library that can be opened as long as nobody binds all its symbols.

extern "C" {
int lookUpNowhereDefined();
int lookUpUnresolvedName();

int lookUpUnresolvedName() {
    return lookUpNowhereDefined();
}
}
