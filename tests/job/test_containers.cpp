// Block lists, linked lists over a shared cell store, sorted integer lists and bit arrays.
#include "job/containers.hpp"
#include "job/memory.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

std::vector<long> data_of(const LINKED_LIST &list) {
  std::vector<long> values;
  for (LINKABLE *cell = list.first; cell; cell = cell->next)
    values.push_back(reinterpret_cast<long>(cell->data));
  return values;
}

void *as_data(long value) { return reinterpret_cast<void *>(value); }

std::vector<int> values_of(const SORTED_CELL *head) {
  std::vector<int> values;
  for (; head; head = head->next) values.push_back(head->value);
  return values;
}

} // namespace

TEST(BlockedArrayList, FillsOneBlockOf40000ThenChainsANewOne) {
  BLOCKED_ARRAY_LIST *list = create_blocked_array_list(8);
  auto *first = static_cast<unsigned char *>(allocate_items(list, 1));
  for (int i = 1; i < items_per_block; ++i) allocate_items(list, 1);
  EXPECT_EQ(list->items_left, 0);
  void *first_block = list->current_block;
  auto *next = static_cast<unsigned char *>(allocate_items(list, 1));
  EXPECT_NE(list->current_block, first_block);
  EXPECT_EQ(*static_cast<void **>(first_block), list->current_block);
  EXPECT_EQ(list->items_left, items_per_block - 1);
  EXPECT_FALSE(next >= first && next < first + 8 * items_per_block);
  delete_blocked_array_list(&list);
  EXPECT_EQ(list, nullptr);
}

TEST(BlockedArrayList, ItemsNeverMoveAcrossAMillionItems) {
  BLOCKED_ARRAY_LIST *list = create_blocked_array_list(sizeof(long));
  constexpr long count = 1000000;
  std::vector<long *> addresses(count);
  for (long i = 0; i < count; ++i) {
    addresses[i] = static_cast<long *>(allocate_items(list, 1));
    ASSERT_EQ(*addresses[i], 0);
    *addresses[i] = i;
  }
  for (long i = 0; i < count; ++i) ASSERT_EQ(*addresses[i], i);
  // Runs of several items are contiguous and never straddle two blocks.
  auto *run = static_cast<long *>(allocate_items(list, 7));
  for (int k = 0; k < 7; ++k) run[k] = -k;
  for (long i = 0; i < count; ++i) ASSERT_EQ(*addresses[i], i);
  delete_blocked_array_list(&list);
}

TEST(LinkedListWithBuffer, AddAndRemoveKeepFirstAndLastRight) {
  LINKED_LIST_WITH_BUFFER *lists = create_linked_list_with_buffer(3, 16, nullptr);
  for (long value : {1L, 2L, 3L}) {
    LINKABLE *cell = new_cell(lists);
    cell->data = as_data(value);
    add_to_list(lists, cell, 1);
  }
  LINKED_LIST &list = lists->lists[1];
  EXPECT_EQ(data_of(list), (std::vector<long>{3, 2, 1}));
  EXPECT_EQ(reinterpret_cast<long>(list.last->data), 1);

  remove_from_list(lists, as_data(1), 1); // the last
  EXPECT_EQ(data_of(list), (std::vector<long>{3, 2}));
  EXPECT_EQ(reinterpret_cast<long>(list.last->data), 2);
  remove_from_list(lists, as_data(42), 1); // absent: nothing happens
  EXPECT_EQ(data_of(list), (std::vector<long>{3, 2}));
  remove_from_list(lists, as_data(3), 1); // the head
  EXPECT_EQ(list.first, list.last);
  remove_from_list(lists, as_data(2), 1);
  EXPECT_EQ(list.first, nullptr);
  EXPECT_EQ(list.last, nullptr);
  EXPECT_EQ(lists->lists[0].first, nullptr);

  // Given-back cells are handed out again, with their first two words cleared.
  LINKABLE *reused = new_cell(lists);
  EXPECT_EQ(reused->data, nullptr);
  EXPECT_EQ(reused->next, nullptr);
  EXPECT_EQ(lists->buffer->array->items_left, items_per_block - 3);
  delete_linked_list_with_buffer(lists);
}

TEST(LinkedListWithBuffer, DoublyLinkedUnlinkAndSinglyLinkedUnlink) {
  LINKED_LIST_WITH_BUFFER *lists = create_linked_list_with_buffer(1, 32, nullptr);
  LINKABLE *cells[4];
  for (int i = 0; i < 4; ++i) {
    cells[i] = new_cell(lists);
    add_to_double_list(lists, cells[i], 0); // order 3 2 1 0
  }
  LINKED_LIST &list = lists->lists[0];
  unlink_cell(cells[2], lists, 0); // middle
  EXPECT_EQ(cells[3]->next, cells[1]);
  EXPECT_EQ(cells[1]->data, cells[3]);
  unlink_cell(cells[0], lists, 0); // tail
  EXPECT_EQ(list.last, cells[1]);
  EXPECT_EQ(cells[1]->next, nullptr);
  unlink_cell(cells[3], lists, 0); // head
  EXPECT_EQ(list.first, cells[1]);
  EXPECT_EQ(cells[1]->data, nullptr);
  unlink_cell(cells[1], lists, 0, nullptr);
  EXPECT_EQ(list.first, nullptr);
  EXPECT_EQ(list.last, nullptr);
  delete_linked_list_with_buffer(lists);
}

TEST(LinkedListWithBuffer, SharedBufferLivesUntilTheLastUserGoes) {
  LINKED_LIST_WITH_BUFFER *a = create_linked_list_with_buffer(2, 16, nullptr);
  LINKED_LIST_WITH_BUFFER *b = create_linked_list_with_buffer(5, 16, a->buffer);
  EXPECT_EQ(a->buffer->reference_count, 2);
  delete_linked_list_with_buffer(a);
  LINKABLE *cell = new_cell(b); // the shared store must still be alive
  add_to_list(b, cell, 4);
  EXPECT_EQ(b->lists[4].first, cell);
  delete_linked_list_with_buffer(b);
  delete_linked_list_with_buffer(nullptr);
}

TEST(LinkedListWithBuffer, ItemSizeConflictStopsTheJob) {
  const CHILD_JOB job = run_job_in_child([] {
    LINKED_LIST_WITH_BUFFER *a = create_linked_list_with_buffer(2, 16, nullptr);
    create_linked_list_with_buffer(2, 24, a->buffer);
  });
  EXPECT_EQ(job.exit_status, 1);
  const std::string message = "*** error in create_linked_list_with_buffer: size conflict **********\n"
                              " size = 24, buffer->size = 16\n"
                              "exception error occured!! no.= 1\n";
  EXPECT_EQ(job.check, message);
  EXPECT_EQ(job.error, message);
}

TEST(PlainLists, ReverseAndDelete) {
  auto *list = static_cast<LINKED_LIST *>(calloc_named(1, sizeof(LINKED_LIST), "LINKED_LIST"));
  for (long value : {1L, 2L, 3L}) {
    auto *cell = static_cast<LINKABLE *>(calloc_named(1, sizeof(LINKABLE), "LINKABLE in LINKED_LIST"));
    cell->data = as_data(value);
    cell->next = list->first;
    list->first = cell;
  }
  EXPECT_EQ(data_of(*list), (std::vector<long>{3, 2, 1}));
  list->first = reverse_list(list->first);
  EXPECT_EQ(data_of(*list), (std::vector<long>{1, 2, 3}));
  EXPECT_EQ(reverse_list(nullptr), nullptr);
  delete_plain_linked_list(list); // leaks or double frees show under the sanitizers
}

TEST(SortedIntegerList, InsertsInOrderOnceAndCopiesBelowALimit) {
  BLOCKED_ARRAY_LIST *store = create_sorted_list_store();
  SORTED_CELL *head = nullptr;
  for (int value : {5, 1, 9, 3, 3, 1, 12, -4}) insert_sorted(store, &head, value);
  EXPECT_EQ(values_of(head), (std::vector<int>{-4, 1, 3, 5, 9, 12}));
  SORTED_CELL *below = nullptr;
  copy_below(store, &below, head, 5);
  EXPECT_EQ(values_of(below), (std::vector<int>{-4, 1, 3}));
  copy_below(store, &below, head, -10);
  EXPECT_EQ(values_of(below), (std::vector<int>{-4, 1, 3}));
  delete_blocked_array_list(&store);
}

TEST(BitArray, FirstBitOfAWordIsItsHighestBit) {
  EXPECT_EQ(word_bits, 32);
  std::uint32_t words[3] = {0, 0, 0};
  set_bit(words, 0, 1);
  EXPECT_EQ(words[0], 0x80000000u);
  EXPECT_EQ(get_bit(words, 0), 1);
  set_bit(words, 31, 1);
  EXPECT_EQ(words[0], 0x80000001u);
  set_bit(words, 32, 1);
  EXPECT_EQ(words[1], 0x80000000u);
  set_bit(words, 95, 1);
  EXPECT_EQ(words[2], 1u);
  set_bit(words, 0, 0);
  EXPECT_EQ(words[0], 1u);
  EXPECT_EQ(get_bit(words, 0), 0);
  EXPECT_EQ(get_bit(words, 1), 0);
  EXPECT_EQ(get_bit(words, 31), 1);
  EXPECT_EQ(bit_array_words(0), 0);
  EXPECT_EQ(bit_array_words(32), 1);
  EXPECT_EQ(bit_array_words(33), 2);
}
