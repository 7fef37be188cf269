/* host: yes */
/* Arrays of pointers and pointers to pointers: a table of words sorted by
   swapping pointers, and an output parameter written through int **. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_ptr: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int compare(char *a, char *b)
{
    while (*a && *a == *b) {
        a++;
        b++;
    }
    return (unsigned char)*a - (unsigned char)*b;
}

static void sort_words(char **w, int n)
{
    int i, j;
    for (i = 0; i < n - 1; i++)
        for (j = 0; j < n - 1 - i; j++)
            if (compare(w[j], w[j + 1]) > 0) {
                char *t = w[j];
                w[j] = w[j + 1];
                w[j + 1] = t;
            }
}

static int values[4] = { 5, 9, 2, 7 };

static void find_max(int *v, int n, int **where)
{
    int i;
    *where = v;
    for (i = 1; i < n; i++)
        if (v[i] > **where)
            *where = &v[i];
}

int main(void)
{
    char *words[5];
    char **pp;
    int *best;
    int x = 1, y = 2;
    int *px = &x, *py = &y;
    int **ppx = &px;

    words[0] = "pear";
    words[1] = "apple";
    words[2] = "fig";
    words[3] = "banana";
    words[4] = "apricot";
    sort_words(words, 5);
    check(1, compare(words[0], "apple") == 0 && compare(words[1], "apricot") == 0);
    check(2, compare(words[4], "pear") == 0 && words[2][0] == 'b');
    pp = words + 3;
    check(3, **pp == 'f' && *(*pp + 2) == 'g');
    find_max(values, 4, &best);
    check(4, best == &values[1] && *best == 9);
    **ppx = 10;
    check(5, x == 10);
    *ppx = py;
    **ppx = 20;
    check(6, y == 20 && px == &y && x == 10);
    check(7, compare("abc", "abd") < 0 && compare("b", "a") > 0);
    return first_fail;
}
