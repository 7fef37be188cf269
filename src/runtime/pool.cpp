#include "runtime/pool.h"

#include <cstring>

#include "runtime/alloc.h"

namespace {

// The link word is read and written as bytes: the record's own first field
// is a pointer of its own type, not a void pointer.
void *link_of(const void *record)
{
    void *link;
    std::memcpy(&link, record, sizeof link);
    return link;
}

void set_link(void *record, void *link) { std::memcpy(record, &link, sizeof link); }

// Records start one pointer into a block, after the block chain's link.
constexpr std::size_t BLOCK_HEADER = sizeof(void *);

}  // namespace

void *pool_take(RecordPool *pool, bool in_generation)
{
    void *record = pool->free_list;
    if (record) {
        pool->free_list = link_of(record);
    } else {
        if (pool->fresh_left == 0) {
            pool->blocks = allocate(BLOCK_HEADER + pool->record_size * pool->block_records, pool->blocks);
            pool->fresh = static_cast<char *>(pool->blocks) + BLOCK_HEADER;
            pool->fresh_left = pool->block_records;
        }
        record = pool->fresh;
        pool->fresh += pool->record_size;
        --pool->fresh_left;
    }
    if (in_generation) {
        set_link(record, pool->generation);
        if (!pool->generation)
            pool->generation_oldest = record;
        pool->generation = record;
    } else {
        set_link(record, nullptr);
    }
    return record;
}

void pool_give(RecordPool *pool, void *record)
{
    set_link(record, pool->free_list);
    pool->free_list = record;
}

void pool_return_to(RecordPool *pool, void *mark)
{
    while (pool->generation && pool->generation != mark) {
        void *record = pool->generation;
        pool->generation = link_of(record);
        pool_give(pool, record);
    }
    if (!pool->generation)
        pool->generation_oldest = nullptr;
}

void pool_end_generation(RecordPool *pool)
{
    if (!pool->generation)
        return;
    set_link(pool->generation_oldest, pool->free_list);
    pool->free_list = pool->generation;
    pool->generation = nullptr;
    pool->generation_oldest = nullptr;
}

void pool_reset(RecordPool *pool)
{
    while (pool->blocks)
        pool->blocks = release(pool->blocks, link_of(pool->blocks));
    pool->free_list = nullptr;
    pool->generation = nullptr;
    pool->generation_oldest = nullptr;
    pool->fresh = nullptr;
    pool->fresh_left = 0;
}
