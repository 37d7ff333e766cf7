// The pool of random generators: drawing, seeding one and all, who sits in which slot, growing.
#include "session.h"

#include <deque>

namespace {

class rnd : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        loaded = k_the_rnd_pool;
        k_rnd_init_pool();
    }

    void TearDown() override
    {
        sysmem_freeptr(k_the_rnd_pool.slots);
        k_the_rnd_pool = loaded;
        session::TearDown();
    }

    /// Registers that many generators.
    void fill(int count)
    {
        while (count-- > 0) k_rnd_register_state(&states.emplace_back(0));
    }

    static std::uint64_t *slot(int i) { return k_the_rnd_pool.slots[i]; }

    static int used()
    {
        int count = 0;
        for (int i = 0; i < k_the_rnd_pool.count; ++i) count += slot(i) != nullptr;
        return count;
    }

    k_rnd_pool loaded = {0, nullptr};
    std::deque<std::uint64_t> states; // which do not move
};

/// The n-th value after a seed, without ever leaving 62 bits.
std::uint64_t value_after(std::uint64_t seed, int n)
{
    const std::uint64_t modulus = 2147483648;
    for (std::uint64_t v = seed % modulus;; --n) {
        if (n <= 0) return v;
        v = (v * 1103515245 + 12345) % modulus;
    }
}

// ---- One generator ------------------------------------------------------------------------------

TEST_F(rnd, first_values_from_0)
{
    std::uint64_t state = 0;
    for (const std::int64_t v : {12345, 1406932606, 654583775}) {
        EXPECT_EQ(k_rnd_next(&state), v);
        EXPECT_EQ(state, std::uint64_t(v));
    }
}

TEST_F(rnd, is_a_congruential_generator_of_31_bits)
{
    const std::uint64_t seeds[] = {
        0, 1, 2147483647, 2147483648, 4294967295, 123456789012345678, 18446744073709551615u};
    for (const std::uint64_t seed : seeds) {
        std::uint64_t state;
        k_rnd_seed(&state, seed);
        for (int n = 1; n <= 1000; ++n) {
            const std::int64_t v = k_rnd_next(&state);
            ASSERT_EQ(std::uint64_t(v), value_after(seed, n)) << seed;
            ASSERT_TRUE(v >= 0 && v <= 2147483647);
        }
    }
}

TEST_F(rnd, a_seed_is_stored_whole_and_the_next_draw_reduces_it)
{
    for (const std::uint64_t seed : {std::uint64_t{5000000000}, ~std::uint64_t{0}}) {
        std::uint64_t state = 1, low = seed % 2147483648;
        k_rnd_seed(&state, seed);
        EXPECT_EQ(state, seed);
        EXPECT_EQ(k_rnd_next(&state), k_rnd_next(&low));
    }
}

// ---- The pool -----------------------------------------------------------------------------------

TEST_F(rnd, the_pool_exists_at_load_and_the_object_registers_nothing)
{
    vorb *x = create("2");
    host::start_audio();
    send(x, 0, "bang");
    host::run();
    EXPECT_EQ(loaded.count, 1024);
    ASSERT_NE(loaded.slots, nullptr);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(loaded.slots[i], nullptr) << i;
    EXPECT_EQ(used(), 0);
}

TEST_F(rnd, a_new_pool_has_1024_free_slots)
{
    EXPECT_EQ(k_the_rnd_pool.count, 1024);
    EXPECT_EQ(used(), 0);
}

TEST_F(rnd, the_pool_is_a_count_of_32_bits_and_a_pointer)
{
    EXPECT_EQ(offsetof(k_rnd_pool, count), 0u);
    EXPECT_EQ(sizeof(k_rnd_pool::count), 4u);
    EXPECT_EQ(offsetof(k_rnd_pool, slots), sizeof(void *));
}

TEST_F(rnd, registration_takes_the_highest_free_slot)
{
    std::uint64_t a = 0, b = 0, c = 0;
    EXPECT_EQ(k_rnd_register_state(&a), &a);
    EXPECT_EQ(k_rnd_register_state(&b), &b);
    EXPECT_EQ(slot(1023), &a);
    EXPECT_EQ(slot(1022), &b);
    k_rnd_deregister_state(&a);
    k_rnd_register_state(&c);
    EXPECT_EQ(slot(1023), &c);
    EXPECT_EQ(used(), 2);
}

TEST_F(rnd, deregistration_frees_its_slot_alone)
{
    fill(3);
    k_rnd_deregister_state(&states[1]);
    EXPECT_EQ(slot(1023), &states[0]);
    EXPECT_EQ(slot(1022), nullptr);
    EXPECT_EQ(slot(1021), &states[2]);
    EXPECT_EQ(used(), 2);
    EXPECT_EQ(k_the_rnd_pool.count, 1024);
}

TEST_F(rnd, deregistering_what_is_not_there_does_nothing)
{
    std::uint64_t stranger = 0;
    fill(1024);
    k_rnd_deregister_state(&stranger);
    k_rnd_deregister_state(nullptr);
    EXPECT_EQ(used(), 1024);
    EXPECT_EQ(k_the_rnd_pool.count, 1024);
}

TEST_F(rnd, a_state_registered_twice_has_two_slots_and_leaves_the_higher_first)
{
    std::uint64_t twice = 0;
    k_rnd_register_state(&twice);
    fill(1);
    k_rnd_register_state(&twice);
    EXPECT_EQ(slot(1023), &twice);
    EXPECT_EQ(slot(1021), &twice);
    k_rnd_deregister_state(&twice);
    EXPECT_EQ(slot(1023), nullptr);
    EXPECT_EQ(slot(1021), &twice);
    k_rnd_deregister_state(&twice);
    EXPECT_EQ(slot(1021), nullptr);
    EXPECT_EQ(used(), 1);
}

TEST_F(rnd, registration_and_seeding_leave_the_states_alone_that_they_do_not_own)
{
    std::uint64_t state = 99;
    k_rnd_register_state(&state);
    EXPECT_EQ(state, 99u);
    k_rnd_deregister_state(&state);
    k_rnd_seed_all(5, 1);
    EXPECT_EQ(state, 99u);
}

// ---- Growing ------------------------------------------------------------------------------------

TEST_F(rnd, the_1025th_registration_grows_the_pool_and_takes_its_first_new_slot)
{
    std::uint64_t **const old = k_the_rnd_pool.slots;
    fill(1025);
    EXPECT_EQ(k_the_rnd_pool.count, 2048);
    EXPECT_NE(k_the_rnd_pool.slots, old);
    EXPECT_EQ(slot(1024), &states[1024]);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(slot(i), &states[std::size_t(1023 - i)]) << i;
    for (int i = 1025; i < 2048; ++i) ASSERT_EQ(slot(i), nullptr) << i;
    fill(1);
    EXPECT_EQ(slot(2047), &states[1025]);
    sysmem_freeptr(old); // a fault if growing had released it
}

TEST_F(rnd, a_grown_pool_has_room_for_all_its_slots)
{
    std::uint64_t **const first = k_the_rnd_pool.slots;
    fill(1025);
    std::uint64_t **const second = k_the_rnd_pool.slots;
    fill(2049 - 1025);
    EXPECT_EQ(k_the_rnd_pool.count, 3072);
    EXPECT_EQ(used(), 2049);
    for (std::uint64_t &state : states) k_rnd_deregister_state(&state);
    EXPECT_EQ(used(), 0);
    EXPECT_EQ(k_the_rnd_pool.count, 3072); // it never shrinks
    fill(3072);
    EXPECT_EQ(used(), 3072);
    EXPECT_EQ(slot(3071), &states[2049]);
    EXPECT_EQ(slot(0), &states.back());
    sysmem_freeptr(first);
    sysmem_freeptr(second);
}

TEST_F(rnd, growing_keeps_who_is_registered)
{
    fill(2);
    std::uint64_t **const old = k_the_rnd_pool.slots;
    k_rnd_grow_pool();
    EXPECT_EQ(k_the_rnd_pool.count, 2048);
    EXPECT_EQ(slot(1023), &states[0]);
    EXPECT_EQ(slot(1022), &states[1]);
    EXPECT_EQ(used(), 2);
    fill(1);
    EXPECT_EQ(slot(2047), &states[2]);
    sysmem_freeptr(old);
}

// ---- Seeding all --------------------------------------------------------------------------------

TEST_F(rnd, seeding_all_deals_every_nth_value_of_a_master_from_the_lowest_slot_on)
{
    fill(6);
    k_rnd_deregister_state(&states[2]); // a gap
    for (const std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{42}, ~std::uint64_t{0}})
        for (const int n : {1, 2, 7}) {
            SCOPED_TRACE(::testing::Message() << seed << ' ' << n);
            states[2] = 99;
            k_rnd_seed_all(seed, n);
            EXPECT_EQ(states[5], seed); // whole
            EXPECT_EQ(states[4], value_after(seed, n));
            EXPECT_EQ(states[3], value_after(seed, 2 * n));
            EXPECT_EQ(states[2], 99u);
            EXPECT_EQ(states[1], value_after(seed, 3 * n));
            EXPECT_EQ(states[0], value_after(seed, 4 * n)); // registered first, seeded last
        }
}

TEST_F(rnd, without_steps_all_get_the_same_seed)
{
    fill(3);
    for (const int n : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        k_rnd_seed_all(5000000000, n);
        EXPECT_THAT(states, ElementsAre(5000000000u, 5000000000u, 5000000000u)) << n;
    }
}

TEST_F(rnd, a_seed_repeats_what_all_generators_draw)
{
    fill(4);
    std::vector<std::int64_t> first, again;
    for (std::vector<std::int64_t> *drawn : {&first, &again}) {
        k_rnd_seed_all(7, 3);
        for (int turn = 0; turn < 5; ++turn)
            for (std::uint64_t &state : states) drawn->push_back(k_rnd_next(&state));
    }
    EXPECT_EQ(first, again);
}

TEST_F(rnd, a_state_registered_twice_keeps_the_seed_of_its_higher_slot)
{
    std::uint64_t twice = 0;
    k_rnd_register_state(&twice);
    k_rnd_register_state(&twice);
    k_rnd_seed_all(8, 5);
    EXPECT_EQ(twice, value_after(8, 5));
}

// ---- Without memory -----------------------------------------------------------------------------

TEST_F(rnd, a_pool_without_memory_is_a_count_without_slots_and_no_call_touches_them)
{
    sysmem_freeptr(k_the_rnd_pool.slots);
    host::fail_allocation(1);
    k_rnd_init_pool();
    EXPECT_EQ(k_the_rnd_pool.count, 1024);
    EXPECT_EQ(k_the_rnd_pool.slots, nullptr);
    std::uint64_t state = 3;
    k_rnd_seed_all(5, 1);
    k_rnd_deregister_state(&state);
    for (const long failing : {1, 0}) {
        host::fail_allocation(failing);
        EXPECT_EQ(k_rnd_register_state(&state), &state);
    }
    EXPECT_EQ(state, 3u);
    EXPECT_EQ(k_the_rnd_pool.count, 2048); // the second time memory was there
    EXPECT_EQ(k_the_rnd_pool.slots[1024], &state);
}

TEST_F(rnd, a_registration_that_finds_no_memory_to_grow_returns_all_the_same)
{
    fill(1024);
    std::uint64_t late = 3;
    std::uint64_t **const old = k_the_rnd_pool.slots;
    host::fail_allocation(1);
    EXPECT_EQ(k_rnd_register_state(&late), &late);
    EXPECT_EQ(host::fail_allocation(0), 0); // it asked
    EXPECT_EQ(k_the_rnd_pool.count, 1024);
    EXPECT_EQ(k_the_rnd_pool.slots, old);
    EXPECT_EQ(used(), 1024);
    k_rnd_seed_all(5, 1);
    EXPECT_EQ(late, 3u);
    k_rnd_deregister_state(&late);
    EXPECT_EQ(used(), 1024);
}

} // namespace
