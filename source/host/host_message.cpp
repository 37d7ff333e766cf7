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
        const bool fits = v > -9223372036854775808.0 && v < 9223372036854775808.0;
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

static const binding *find_method(const instance &x, std::string_view selector)
{
    const auto found = x.type->methods.find(selector);
    if (found == x.type->methods.end()) return nullptr;
    const auto &types = found->second.types;
    return !types.empty() && types[0] == A_CANT ? nullptr : &found->second;
}

/// While it lives, a message is being delivered at an inlet; the header says so too.
struct at_inlet {
    at_inlet(instance &to, long inlet) : x(to), before(to.current_inlet) { set(inlet); }
    ~at_inlet() { set(before); }
    at_inlet(const at_inlet &) = delete;

    void set(long inlet)
    {
        x.current_inlet = inlet;
        if (x.has_signals) x.header()->z_in = inlet;
    }

    instance &x;
    const long before;
};

void deliver(instance &x, int inlet, const char *selector, const atoms &given)
{
    using variadic = void (*)(t_object *, t_symbol *, long, t_atom *);
    const std::string_view name = selector;
    const binding *bound = find_method(x, name);
    if (!bound && (name == "int" || name == "float")) // one stands in for the other
        bound = find_method(x, name == "int" ? "float" : "int");
    else if (!bound && name != "bang" && name != "list") bound = find_method(x, "anything");
    if (!bound) return object_error(x.memory, "doesn't understand \"%s\"", selector);

    atoms args = given;
    const bool typed = bound->types.empty() || bound->types[0] != A_GIMME;
    if (typed && !fit(x, *bound, selector, args)) return;

    const in_context scheduler(context::scheduler);
    const at_inlet there(x, inlet);
    if (typed) {
        call_typed(bound->handler, x.memory, args);
    } else {
        const atoms before = args;
        reinterpret_cast<variadic>(bound->handler)(x.memory, gensym(selector),
                                                   static_cast<long>(args.size()), args.data());
        if (!args.empty() && std::memcmp(before.data(), args.data(), args.size() * sizeof(t_atom)))
            fault("a handler changed its arguments");
    }
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

static void send_one(t_object *x, int inlet, atoms words)
{
    if (words.empty()) return;
    if (words[0].a_type == A_SYM) {
        const char *selector = words[0].a_w.w_sym->s_name;
        words.erase(words.begin());
        return deliver(get(x), inlet, selector, words);
    }
    const char *selector = words.size() > 1 ? "list" : words[0].a_type == A_LONG ? "int" : "float";
    deliver(get(x), inlet, selector, words);
}

std::vector<std::string> messages(std::string_view text)
{
    std::vector<std::string> parts(1);
    bool quoted = false;
    for (const char c : text) {
        if (c == '"') quoted = !quoted;
        if (c == ',' && !quoted) parts.emplace_back();
        else parts.back() += c;
    }
    return parts;
}

void send(t_object *x, int inlet, std::string_view text)
{
    check_inlet(x, inlet);
    for (const std::string &message : messages(text)) send_one(x, inlet, parse(message));
}

} // namespace host
