// Block-wise array lists, linked lists over a shared cell store, sorted integer lists.
#include "job/containers.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"

#include <cstring>

namespace tesmora {
namespace {

constexpr std::uint64_t block_header_bytes = 16; // first word: next block

void *&next_block_of(void *block) { return *static_cast<void **>(block); }

unsigned char *items_of(void *block) { return static_cast<unsigned char *>(block) + block_header_bytes; }

void give_back(ARRAY_LIST *store, LINKABLE *cell) {
  cell->next = store->free_list->first;
  store->free_list->first = cell;
  if (!store->free_list->last) store->free_list->last = cell;
}

void unlink_after(LINKED_LIST &list, LINKABLE *cell, LINKABLE *previous) {
  if (previous)
    previous->next = cell->next;
  else
    list.first = cell->next;
  if (list.last == cell) list.last = previous;
}

} // namespace

BLOCKED_ARRAY_LIST *create_blocked_array_list(int item_size) {
  auto *list =
      static_cast<BLOCKED_ARRAY_LIST *>(calloc_named(1, sizeof(BLOCKED_ARRAY_LIST), "BLOCKED_ARRAY_LIST"));
  list->item_size = item_size;
  return list;
}

void *allocate_items(BLOCKED_ARRAY_LIST *list, int count) {
  if (list->items_left < count) {
    if (list->current_block && next_block_of(list->current_block)) {
      // A block left from earlier use: start again at its beginning.
      list->current_block = next_block_of(list->current_block);
      std::memset(items_of(list->current_block), 0,
                  static_cast<std::size_t>(list->item_size) * items_per_block);
    } else {
      void *block = calloc_named(
          1, static_cast<std::uint64_t>(list->item_size) * items_per_block + block_header_bytes, "ANY_block");
      if (list->current_block)
        next_block_of(list->current_block) = block;
      else
        list->first_block = block;
      list->current_block = block;
    }
    list->next_item = items_of(list->current_block);
    list->items_left = items_per_block;
  }
  void *items = list->next_item;
  list->next_item += static_cast<std::size_t>(count) * static_cast<std::size_t>(list->item_size);
  list->items_left -= count;
  return items;
}

void delete_blocked_array_list(BLOCKED_ARRAY_LIST **list) {
  if (!*list) return;
  for (void *block = (*list)->first_block; block;) {
    void *next = next_block_of(block);
    free_named(block, "ANY_block");
    block = next;
  }
  free_named(*list, "array_list");
  *list = nullptr;
}

LINKED_LIST_WITH_BUFFER *create_linked_list_with_buffer(int no_lists, int item_size, ARRAY_LIST *buffer) {
  auto *list = static_cast<LINKED_LIST_WITH_BUFFER *>(
      calloc_named(1, sizeof(LINKED_LIST_WITH_BUFFER), "LINKED_LIST_WITH_BUFFER"));
  list->no_lists = no_lists;
  list->lists = static_cast<LINKED_LIST *>(
      calloc_named(static_cast<std::uint64_t>(no_lists), sizeof(LINKED_LIST), "LINKED_LIST"));
  if (buffer) {
    if (buffer->item_size != item_size) {
      write_fault("*** error in create_linked_list_with_buffer: size conflict **********\n");
      write_fault(" size = %d, buffer->size = %d\n", item_size, buffer->item_size);
      stop_job(1);
    }
  } else {
    buffer = static_cast<ARRAY_LIST *>(calloc_named(1, sizeof(ARRAY_LIST), "ARRAY_LIST"));
    buffer->item_size = item_size;
    buffer->array = create_blocked_array_list(item_size);
    buffer->free_list = static_cast<LINKED_LIST *>(calloc_named(1, sizeof(LINKED_LIST), "LINKED_LIST"));
  }
  ++buffer->reference_count;
  list->buffer = buffer;
  return list;
}

void delete_linked_list_with_buffer(LINKED_LIST_WITH_BUFFER *list) {
  if (!list) return;
  free_named(list->lists, "linked_list->lists");
  ARRAY_LIST *buffer = list->buffer;
  if (--buffer->reference_count == 0) {
    delete_blocked_array_list(&buffer->array);
    free_named(buffer->free_list, "array_list->free_list");
    free_named(buffer, "array_list");
  }
  free_named(list, "linked_list");
}

LINKABLE *new_cell(LINKED_LIST_WITH_BUFFER *list) {
  LINKED_LIST *free_list = list->buffer->free_list;
  LINKABLE *cell = free_list->first;
  if (cell) {
    free_list->first = cell->next;
    if (!free_list->first) free_list->last = nullptr;
  } else {
    cell = static_cast<LINKABLE *>(allocate_items(list->buffer->array, 1));
  }
  cell->next = nullptr;
  cell->data = nullptr;
  return cell;
}

void add_to_list(LINKED_LIST_WITH_BUFFER *list, LINKABLE *cell, int index) {
  LINKED_LIST &head = list->lists[index];
  cell->next = head.first;
  if (!head.first) head.last = cell;
  head.first = cell;
}

void add_to_double_list(LINKED_LIST_WITH_BUFFER *list, LINKABLE *cell, int index) {
  LINKED_LIST &head = list->lists[index];
  if (head.first) head.first->data = cell;
  cell->data = nullptr;
  add_to_list(list, cell, index);
}

void remove_from_list(LINKED_LIST_WITH_BUFFER *list, const void *data, int index) {
  LINKED_LIST &head = list->lists[index];
  LINKABLE *previous = nullptr;
  for (LINKABLE *cell = head.first; cell; previous = cell, cell = cell->next) {
    if (cell->data != data) continue;
    unlink_after(head, cell, previous);
    give_back(list->buffer, cell);
    return;
  }
}

void unlink_cell(LINKABLE *cell, LINKED_LIST_WITH_BUFFER *list, int index) {
  auto *previous = static_cast<LINKABLE *>(cell->data);
  if (cell->next) cell->next->data = previous;
  unlink_after(list->lists[index], cell, previous);
  give_back(list->buffer, cell);
}

void unlink_cell(LINKABLE *cell, LINKED_LIST_WITH_BUFFER *list, int index, LINKABLE *previous) {
  unlink_after(list->lists[index], cell, previous);
  give_back(list->buffer, cell);
}

LINKABLE *reverse_list(LINKABLE *head) {
  LINKABLE *reversed = nullptr;
  while (head) {
    LINKABLE *next = head->next;
    head->next = reversed;
    reversed = head;
    head = next;
  }
  return reversed;
}

void delete_plain_linked_list(LINKED_LIST *list) {
  if (!list) return;
  for (LINKABLE *cell = list->first; cell;) {
    LINKABLE *next = cell->next;
    free_named(cell, "LINKABLE in LINKED_LIST");
    cell = next;
  }
  free_named(list, "LINKED_LIST");
}

BLOCKED_ARRAY_LIST *create_sorted_list_store() { return create_blocked_array_list(sizeof(SORTED_CELL)); }

void insert_sorted(BLOCKED_ARRAY_LIST *store, SORTED_CELL **head, int value) {
  SORTED_CELL **link = head;
  while (*link && (*link)->value < value) link = &(*link)->next;
  if (*link && (*link)->value == value) return;
  auto *cell = static_cast<SORTED_CELL *>(allocate_items(store, 1));
  cell->value = value;
  cell->next = *link;
  *link = cell;
}

void copy_below(BLOCKED_ARRAY_LIST *store, SORTED_CELL **out_head, const SORTED_CELL *in_head, int limit) {
  SORTED_CELL **tail = out_head;
  while (*tail) tail = &(*tail)->next;
  for (const SORTED_CELL *cell = in_head; cell && cell->value < limit; cell = cell->next) {
    auto *copy = static_cast<SORTED_CELL *>(allocate_items(store, 1));
    copy->value = cell->value;
    copy->next = nullptr;
    *tail = copy;
    tail = &copy->next;
  }
}

} // namespace tesmora
