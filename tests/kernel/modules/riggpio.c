// SPDX-License-Identifier: GPL-2.0
// A GPIO controller "riggpio" with 64 lines and interrupts, numbers 0 to 63 below /sys/class/gpio, whose levels a user
// process sets; line 17 has the name "HOST_IRQ", as a device tree would give it. And "riggpio-plain", numbers 64 to 71,
// which has neither outputs nor interrupts. To /dev/riggpio go
//   "17 0"          the outside pulls line 17 low (1: lets it go)
//   "inputs"        all lines are inputs, which they do not become by themselves when a program gives them back
//   "remove", "add" both controllers go, as when their driver is unbound, and come again
// A test's module: never unloaded.
#include <linux/gpio/driver.h>
#include <linux/interrupt.h>
#include <linux/irq.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/platform_device.h>
#include <linux/property.h>
#include <linux/uaccess.h>

enum { LINES = 64, PLAIN_LINES = 8, NAMED_LINE = 17 };

// What the pins do, which is there without the driver too.
static DEFINE_SPINLOCK(pins);         // guards `high` and the order of its changes
static DECLARE_BITMAP(high, LINES);   // to where the outside pulls
static DECLARE_BITMAP(output, LINES); // directions and what is driven stay as they are when a line is given back
static DECLARE_BITMAP(driven, LINES);
static DECLARE_BITMAP(unmasked, LINES); // lines whose interrupt somebody wants
static u8 edges[LINES];

static DEFINE_MUTEX(presence); // guards `board`
static struct platform_device* board;
static struct irq_domain* domain; // set while `board` is

static int level_of(struct gpio_chip* chip, unsigned int line) {
    return test_bit(line, test_bit(line, output) ? driven : high);
}

static void drive(struct gpio_chip* chip, unsigned int line, int up) {
    assign_bit(line, driven, up);
}

static int make_input(struct gpio_chip* chip, unsigned int line) {
    clear_bit(line, output);
    return 0;
}

static int make_output(struct gpio_chip* chip, unsigned int line, int up) {
    assign_bit(line, driven, up);
    set_bit(line, output);
    return 0;
}

static int direction_of(struct gpio_chip* chip, unsigned int line) {
    return test_bit(line, output) ? GPIO_LINE_DIRECTION_OUT : GPIO_LINE_DIRECTION_IN;
}

static int plain_level(struct gpio_chip* chip, unsigned int line) {
    return 1;
}

static int plain_input(struct gpio_chip* chip, unsigned int line) {
    return 0;
}

static int plain_direction(struct gpio_chip* chip, unsigned int line) {
    return GPIO_LINE_DIRECTION_IN;
}

static void mask(struct irq_data* data) {
    clear_bit(irqd_to_hwirq(data), unmasked);
    gpiochip_disable_irq(irq_data_get_irq_chip_data(data), irqd_to_hwirq(data));
}

static void unmask(struct irq_data* data) {
    gpiochip_enable_irq(irq_data_get_irq_chip_data(data), irqd_to_hwirq(data));
    set_bit(irqd_to_hwirq(data), unmasked);
}

static int set_edge(struct irq_data* data, unsigned int type) {
    if (type & ~IRQ_TYPE_EDGE_BOTH) return -EINVAL;
    edges[irqd_to_hwirq(data)] = type;
    return 0;
}

static const struct irq_chip interrupts = {
    .name = "riggpio",
    .irq_mask = mask,
    .irq_unmask = unmask,
    .irq_set_type = set_edge,
    .flags = IRQCHIP_IMMUTABLE,
    GPIOCHIP_IRQ_RESOURCE_HELPERS,
};

// A kernel that lost a controller while a program held a line of it through the character device keeps its numbers for
// good.
static int add_chip(struct gpio_chip* chip) {
    const int result = devm_gpiochip_add_data(chip->parent, chip, NULL);

    if (result != -EBUSY) return result;
    chip->base = -1; // anywhere
    return devm_gpiochip_add_data(chip->parent, chip, NULL);
}

static int add_lines(struct device* parent) {
    struct gpio_chip* chip = devm_kzalloc(parent, sizeof(*chip), GFP_KERNEL);
    int result;

    if (!chip) return -ENOMEM;
    *chip = (struct gpio_chip){.label = "riggpio",
                               .owner = THIS_MODULE,
                               .parent = parent,
                               .base = 0,
                               .ngpio = LINES,
                               .get = level_of,
                               .set = drive,
                               .direction_input = make_input,
                               .direction_output = make_output,
                               .get_direction = direction_of};
    gpio_irq_chip_set_chip(&chip->irq, &interrupts);
    chip->irq.handler = handle_simple_irq;
    chip->irq.default_type = IRQ_TYPE_NONE;
    result = add_chip(chip);
    if (result == 0) domain = chip->irq.domain;
    return result;
}

static int add_plain_lines(struct device* parent) {
    struct gpio_chip* chip = devm_kzalloc(parent, sizeof(*chip), GFP_KERNEL);

    if (!chip) return -ENOMEM;
    *chip = (struct gpio_chip){.label = "riggpio-plain",
                               .owner = THIS_MODULE,
                               .parent = parent,
                               .base = LINES,
                               .ngpio = PLAIN_LINES,
                               .get = plain_level,
                               .direction_input = plain_input,
                               .get_direction = plain_direction};
    return add_chip(chip);
}

static int bind(struct platform_device* device) {
    const int result = add_lines(&device->dev);

    return result ? result : add_plain_lines(&device->dev);
}

static struct platform_driver driver = {.probe = bind, .driver = {.name = "riggpio"}};

static int add_board(void) {
    static const char* const names[] = {[0 ... NAMED_LINE - 1] = "", [NAMED_LINE] = "HOST_IRQ"};
    const struct property_entry properties[] = {PROPERTY_ENTRY_STRING_ARRAY("gpio-line-names", names), {}};
    const struct platform_device_info information = {
        .name = "riggpio", .id = PLATFORM_DEVID_NONE, .properties = properties};

    if (board) return -EEXIST;
    board = platform_device_register_full(&information);
    return PTR_ERR_OR_ZERO(board);
}

static int remove_board(void) {
    if (!board) return -ENODEV;
    domain = NULL;
    bitmap_zero(unmasked, LINES);
    platform_device_unregister(board);
    board = NULL;
    return 0;
}

// The presence is held, so that the domain stays.
static void pull(unsigned int line, bool up) {
    unsigned long flags;
    bool edge;

    spin_lock_irqsave(&pins, flags);
    edge = test_bit(line, high) != up && test_bit(line, unmasked) &&
           (edges[line] & (up ? IRQ_TYPE_EDGE_RISING : IRQ_TYPE_EDGE_FALLING));
    assign_bit(line, high, up);
    spin_unlock(&pins);
    if (edge && domain) generic_handle_domain_irq(domain, line); // with interrupts off, as a controller's own would be
    local_irq_restore(flags);
}

static int carry_out(const char* text) {
    unsigned int line;
    unsigned int up;

    if (sysfs_streq(text, "remove")) return remove_board();
    if (sysfs_streq(text, "add")) return add_board();
    if (sysfs_streq(text, "inputs")) {
        bitmap_zero(output, LINES);
        return 0;
    }
    if (sscanf(text, "%u %u", &line, &up) != 2 || line >= LINES) return -EINVAL;
    pull(line, up);
    return 0;
}

static ssize_t command(struct file* file, const char __user* buffer, size_t size, loff_t* offset) {
    char text[16] = "";
    int result;

    if (size >= sizeof(text)) return -EINVAL;
    if (copy_from_user(text, buffer, size)) return -EFAULT;
    mutex_lock(&presence);
    result = carry_out(text);
    mutex_unlock(&presence);
    return result ? result : size;
}

static const struct file_operations command_file = {.owner = THIS_MODULE, .write = command};
static struct miscdevice device = {.minor = MISC_DYNAMIC_MINOR, .name = "riggpio", .fops = &command_file};

static int __init riggpio_init(void) {
    int result;

    bitmap_fill(high, LINES);
    result = platform_driver_register(&driver);
    if (result == 0) result = add_board();
    return result ? result : misc_register(&device);
}
module_init(riggpio_init);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("GPIO lines whose levels a user process sets");
