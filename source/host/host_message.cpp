// Messages: from the text of a message box to the handler with the right arguments.
#include "host_state.h"

#include <cstring>

namespace host {

/// The signature grows by one argument a step, so that the handler is called with every double and
/// every word where the platform's calling convention puts it. Symbols travel as words.
template <class... Args>
static void call_typed(method handler, t_object *x, const atoms &values, Args... args)
{
    constexpr size_t count = sizeof...(Args);
    if (count == values.size())
        return reinterpret_cast<void (*)(t_object *, Args...)>(handler)(x, args...);
    if constexpr (count < MSG_MAXARG) {
        const t_atom &next = values[count];
        if (next.a_type == A_FLOAT) call_typed(handler, x, values, args..., next.a_w.w_float);
        else if (next.a_type == A_SYM)
            call_typed(handler, x, values, args..., reinterpret_cast<t_atom_long>(next.a_w.w_sym));
        else call_typed(handler, x, values, args..., next.a_w.w_long);
    }
}

/// What a type with a default value wants.
static int plain(int type)
{
    return type >= A_DEFLONG && type <= A_DEFSYM ? type - A_DEFLONG + A_LONG : type;
}

/// The value as the type wants it; false when it cannot be that.
static bool coerce(t_atom &value, int type)
{
    if ((value.a_type == A_SYM) != (type == A_SYM)) return false;
    if (type == A_LONG && value.a_type == A_FLOAT) {
        const double v = value.a_w.w_float;
        const bool fits = v >= -9223372036854775808.0 && v < 9223372036854775808.0;
        value = atom(fits ? static_cast<t_atom_long>(v) : t_atom_long{0});
    }
    if (type == A_FLOAT && value.a_type == A_LONG)
        value = atom(static_cast<double>(value.a_w.w_long));
    return true;
}

/// Fits the arguments to a typed method: a missing int is 0 and a missing symbol the empty one, all
/// else that does not fit is said on the console. False: do not call.
static bool fit(instance &x, const binding &bound, const char *selector, atoms &args)
{
    if (args.size() > bound.types.size()) {
        object_error(x.memory, "extra arguments for message \"%s\"", selector);
        args.resize(bound.types.size());
    }
    for (size_t i = 0; i < bound.types.size(); ++i) {
        if (i == args.size()) {
            if (bound.types[i] == A_FLOAT) {
                object_error(x.memory, "missing arguments for message \"%s\"", selector);
                return false;
            }
            args.push_back(plain(bound.types[i]) == A_SYM ? atom("") : atom(t_atom_long{0}));
        }
        if (!coerce(args[i], plain(bound.types[i]))) {
            object_error(x.memory, "bad arguments for message \"%s\"", selector);
            return false;
        }
    }
    return true;
}

const binding *find_method(const instance &x, std::string_view selector)
{
    const auto found = x.type->methods.find(selector);
    if (found == x.type->methods.end()) return nullptr;
    const auto &types = found->second.types;
    return !types.empty() && types[0] == A_CANT ? nullptr : &found->second;
}

bool understands(const t_object *x, std::string_view selector)
{
    return find_method(get(x), selector);
}

std::vector<std::string> selectors(const t_object *x)
{
    std::vector<std::string> sendable;
    for (const auto &[selector, bound] : get(x).type->methods)
        if (understands(x, selector)) sendable.push_back(selector);
    return sendable;
}

/// What a message with this selector calls: int and float stand in for one another, and anything
/// for the words that nothing else is bound to.
static const binding *find_called(const instance &x, std::string_view selector)
{
    if (const binding *bound = find_method(x, selector)) return bound;
    if (selector == "int") return find_method(x, "float");
    if (selector == "float") return find_method(x, "int");
    if (selector == "bang" || selector == "list") return nullptr;
    return find_method(x, "anything");
}

/// While it lives, this thread delivers a message at an inlet; the header says so too, of whichever
/// thread was the last.
struct at_inlet {
    at_inlet(instance &to, long at) : outer(innermost), x(to), inlet(at)
    {
        innermost = this;
        tell_header(inlet);
    }

    ~at_inlet()
    {
        innermost = outer;
        tell_header(current(x));
    }

    at_inlet(const at_inlet &) = delete;

    /// The inlet of the message that this thread is delivering to an instance; 0 without one.
    static long current(const instance &to)
    {
        const at_inlet *message = innermost;
        while (message && &message->x != &to) message = message->outer;
        return message ? message->inlet : 0;
    }

private:
    void tell_header(long at) const
    {
        if (x.has_signals) __atomic_store_n(&x.header()->z_in, at, __ATOMIC_RELAXED);
    }

    static thread_local const at_inlet *innermost;

    const at_inlet *const outer;
    instance &x;
    const long inlet;
};

thread_local const at_inlet *at_inlet::innermost = nullptr;

void deliver(instance &x, int inlet, const char *selector, const atoms &given)
{
    using variadic = void (*)(t_object *, t_symbol *, long, t_atom *);
    const binding *bound = find_called(x, selector);
    if (!bound) return object_error(x.memory, "doesn't understand \"%s\"", selector);

    atoms args = given;
    const bool typed = bound->types.empty() || bound->types[0] != A_GIMME;
    if (typed && !fit(x, *bound, selector, args)) return;

    const in_context there(at_once ? context::main : context::scheduler);
    const at_inlet here(x, inlet);
    if (typed) {
        call_typed(bound->handler, x.memory, args);
    } else {
        const atoms before = args;
        reinterpret_cast<variadic>(bound->handler)(x.memory, gensym(selector),
                                                   static_cast<long>(args.size()), args.data());
        if (!args.empty() &&
            std::memcmp(before.data(), args.data(), args.size() * sizeof(t_atom)) != 0)
            fault("a handler changed its arguments");
    }
}

void deliver_number(instance &x, int inlet, double v)
{
    using handler = void(t_object *, double);
    const at_inlet here(x, inlet);
    if (const auto number = method_of<handler>(x, "float")) number(x.memory, v);
}

static void check_inlet(const t_object *x, int inlet)
{
    if (inlet < 0 || inlet >= inlets(x)) throw error("no inlet " + std::to_string(inlet));
}

void send(t_object *x, int inlet, const char *selector, const atoms &arguments)
{
    check_inlet(x, inlet);
    deliver(get(x), inlet, selector, arguments);
}

/// Takes the selector off a message; numbers imply theirs.
static const char *take_selector(atoms &words)
{
    if (words[0].a_type != A_SYM)
        return words.size() > 1 ? "list" : words[0].a_type == A_LONG ? "int" : "float";
    const char *selector = words[0].a_w.w_sym->s_name;
    words.erase(words.begin());
    return selector;
}

/// The messages of a text, which commas outside double quotes separate; none is empty.
static std::vector<atoms> messages(std::string_view text)
{
    std::vector<atoms> found;
    size_t from = 0;
    bool quoted = false;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] == '"') quoted = !quoted;
        if (i < text.size() && (text[i] != ',' || quoted)) continue;
        if (atoms words = parse(text.substr(from, i - from)); !words.empty())
            found.push_back(std::move(words));
        from = i + 1;
    }
    return found;
}

std::string unknown_selector(const t_object *x, std::string_view text)
{
    for (atoms &words : messages(text))
        if (const char *selector = take_selector(words); !find_called(get(x), selector))
            return selector;
    return "";
}

void send(t_object *x, int inlet, std::string_view text)
{
    check_inlet(x, inlet);
    for (atoms &words : messages(text)) {
        const char *selector = take_selector(words);
        deliver(get(x), inlet, selector, words);
    }
}

} // namespace host

long proxy_getinlet(t_object *x)
{
    const host::instance *asked = host::find(x, "proxy_getinlet");
    return asked ? host::at_inlet::current(*asked) : 0;
}
