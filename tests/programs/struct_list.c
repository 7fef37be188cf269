/* host: yes */
/* A singly linked list of self-referential structs taken from a static
   pool: insertion in order, removal, reversal. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_list: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct node {
    int key;
    struct node *next;
};

static struct node pool[16];
static int used;

static struct node *insert(struct node *head, int key)
{
    struct node *n = &pool[used++], **link = &head;
    n->key = key;
    while (*link && (*link)->key < key)
        link = &(*link)->next;
    n->next = *link;
    *link = n;
    return head;
}

static struct node *remove_key(struct node *head, int key)
{
    struct node **link = &head;
    while (*link) {
        if ((*link)->key == key) {
            *link = (*link)->next;
            break;
        }
        link = &(*link)->next;
    }
    return head;
}

static struct node *reverse(struct node *head)
{
    struct node *prev = 0;
    while (head) {
        struct node *next = head->next;
        head->next = prev;
        prev = head;
        head = next;
    }
    return prev;
}

static long signature(struct node *n)
{
    long s = 0;
    for (; n; n = n->next)
        s = s * 10 + n->key;
    return s;
}

int main(void)
{
    static int keys[] = { 5, 2, 8, 1, 9, 3 };
    struct node *head = 0;
    int i;

    for (i = 0; i < 6; i++)
        head = insert(head, keys[i]);
    check(1, signature(head) == 123589L);
    head = remove_key(head, 5);
    head = remove_key(head, 1);
    head = remove_key(head, 7);
    check(2, signature(head) == 2389L);
    head = reverse(head);
    check(3, signature(head) == 9832L && head->key == 9);
    check(4, head->next->next->next->next == 0 && used == 6);
    return first_fail;
}
